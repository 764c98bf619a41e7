#include "logging/ini_store.h"

#include <cstdio>
#include <cstring>

#include "platform/file_impl.h"

namespace sarvik {
namespace {

constexpr char kLineEnd[] = "\r\n";
constexpr int32_t kReadChunk = 255;
constexpr size_t kValueLimit = 255;
constexpr size_t kFileLimit = 1 << 20;

bool endsWith(const std::string& text, const char* suffix) {
  size_t n = std::strlen(suffix);
  return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

void stripTrailingLineEnds(std::string& text) {
  for (;;) {
    if (endsWith(text, "\r\n")) {
      text.resize(text.size() - 2);
    } else if (endsWith(text, "\n")) {
      text.resize(text.size() - 1);
    } else {
      return;
    }
  }
}

}  // namespace

CINIImpl::CINIImpl(const char* path, const char* section, const char* key)
    : m_path(path), m_sectionToken(std::string("[") + section + "]"), m_keyToken(std::string(key) + "=") {}

CINIImpl::~CINIImpl() {}

int32_t CINIImpl::loadFile(std::string& text, bool readOnly) {
  FileWrapper* file = new FileImpl();
  if (file->open(m_path.c_str(), readOnly, false, false) != 0) {
    delete file;
    return -1;
  }
  text.clear();
  char buffer[kReadChunk + 1];
  std::memset(buffer, 0, sizeof(buffer));
  // A settings file is small: one that goes on past this is no settings
  // file, and reading on would only hold up the caller.
  size_t total = 0;
  while (total < kFileLimit && file->read(buffer, kReadChunk) > 0) {
    total += kReadChunk;
    // Appended as text: the file is expected to hold no NUL bytes.
    text.append(buffer);
    std::memset(buffer, 0, sizeof(buffer));
  }
  file->close();
  delete file;
  return 0;
}

std::string CINIImpl::sectionBody(const std::string& rest) {
  size_t next = rest.find("\n[");
  return next == std::string::npos ? rest : rest.substr(0, next + 1);
}

int32_t CINIImpl::findSection(std::string& text) {
  size_t pos = text.find(m_sectionToken);
  if (pos == std::string::npos) return -1;
  text = sectionBody(text.substr(pos + m_sectionToken.size()));
  return 0;
}

int32_t CINIImpl::findKey(std::string& text) {
  size_t pos = text.find(m_keyToken);
  if (pos == std::string::npos) return -1;
  text.erase(0, pos + m_keyToken.size());
  size_t lineEnd = text.find('\n');
  if (lineEnd != std::string::npos) text.resize(lineEnd);

  if (!text.empty() && text.front() == '"') text.erase(0, 1);
  size_t cr = text.find('\r');
  if (cr != std::string::npos) text.erase(cr, 1);
  if (!text.empty() && text.back() == '"') text.pop_back();
  return 0;
}

int32_t CINIImpl::getValue(char* out) {
  if (out == nullptr) return -4;
  std::string text;
  if (loadFile(text, true) != 0 || findSection(text) != 0 || findKey(text) != 0) return -1;
  std::snprintf(out, kValueLimit, "%s", text.c_str());
  return 0;
}

int32_t CINIImpl::setValue(const char* value) {
  if (value == nullptr) return -4;
  std::string text;
  // A missing file, or one that another writer holds, is (re)created empty.
  if (loadFile(text, true) != 0 && loadFile(text, false) != 0) return -1;

  stripTrailingLineEnds(text);
  if (!text.empty()) text += kLineEnd;

  size_t sectionPos = text.find(m_sectionToken);
  if (sectionPos == std::string::npos) {
    text += m_sectionToken + kLineEnd + m_keyToken + value;
  } else {
    size_t headEnd = sectionPos + m_sectionToken.size();
    std::string head = text.substr(0, headEnd);
    std::string rest = text.substr(headEnd);
    size_t keyPos = sectionBody(rest).find(m_keyToken);
    if (keyPos == std::string::npos) {
      // `rest` begins with the line end that followed the header, and that
      // line end now closes the new line: only the header gains CR LF.
      text = head + kLineEnd + m_keyToken + value + rest;
    } else {
      size_t valuePos = keyPos + m_keyToken.size();
      size_t lineEnd = rest.find('\n', valuePos);
      std::string tail = lineEnd == std::string::npos ? std::string() : rest.substr(lineEnd + 1);
      text = head + rest.substr(0, valuePos) + value + kLineEnd + tail;
    }
  }

  FileWrapper* file = new FileImpl();
  if (file->open(m_path.c_str(), false, false, false) != 0) {
    delete file;
    return -1;
  }
  int32_t written = file->write(text.data(), static_cast<int32_t>(text.size()));
  delete file;
  return written < 0 ? -1 : 0;
}

}  // namespace sarvik
