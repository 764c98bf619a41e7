#include "device_list_cache.h"

#include <algorithm>
#include <memory>

namespace sarvik_viewer {
namespace {

struct CallbackTarget {
  DeviceListCache* cache;
  SarvikBaseContext* context;
};

}  // namespace

DeviceListCache& DeviceListCache::instance() {
  static DeviceListCache cache;
  return cache;
}

void DeviceListCache::follow(SarvikBaseContext* context) {
  bool known;
  {
    std::lock_guard<std::mutex> guard(m_lock);
    known = std::find(m_followed.begin(), m_followed.end(), context) != m_followed.end();
    if (!known) m_followed.push_back(context);
  }
  if (!known) {
    // Kept for the life of the process, like the registration it serves.
    static std::mutex targetsLock;
    static std::vector<std::unique_ptr<CallbackTarget>> targets;
    std::lock_guard<std::mutex> guard(targetsLock);
    targets.push_back(std::make_unique<CallbackTarget>(CallbackTarget{this, context}));
    context->registerDeviceStateCallback(&DeviceListCache::onDeviceState, targets.back().get());
  }
  refresh(context);
}

std::vector<typedefSarvikDeviceInfo> DeviceListCache::devices() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_devices;
}

unsigned DeviceListCache::events() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_events;
}

void DeviceListCache::onDeviceState(const char*, const char*, uint32_t, void* user) {
  auto* target = static_cast<CallbackTarget*>(user);
  target->cache->refresh(target->context);
  std::lock_guard<std::mutex> guard(target->cache->m_lock);
  ++target->cache->m_events;
}

void DeviceListCache::refresh(SarvikBaseContext* context) {
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  std::vector<typedefSarvikDeviceInfo> copy;
  // The copy is taken under our lock so that two refreshes cannot interleave.
  std::lock_guard<std::mutex> guard(m_lock);
  if (context->getDeviceList(&list, &count) == 0 && list != nullptr) copy.assign(list, list + count);
  m_devices = std::move(copy);
}

}  // namespace sarvik_viewer
