// read_depth: the smallest complete application of the SDK. It opens the
// first camera in the device table, reads 30 depth frames by polling and
// gives each one back.
//
//   build/bin/read_depth            loads build/lib/libSarvikCommonDriver.so
//   SARVIK_MODULE=/path/to/libSarvikCommonDriver.so build/bin/read_depth
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "sarvik/SarvikBaseContext.h"

namespace {

// The module is loaded at run time, like the transports it loads itself.
// By default it sits in lib/ beside this program's bin/.
std::string modulePath() {
  const char* fromEnvironment = std::getenv("SARVIK_MODULE");
  if (fromEnvironment != nullptr && fromEnvironment[0] != '\0') return fromEnvironment;
  char self[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  const std::string program = length > 0 ? std::string(self, static_cast<size_t>(length)) : std::string();
  const size_t slash = program.find_last_of('/');
  return (slash == std::string::npos ? std::string(".") : program.substr(0, slash)) +
         "/../lib/libSarvikCommonDriver.so";
}

int readFrames(SarvikBaseContext* sdk) {
  // The table belongs to the module and is rewritten on every hot-plug
  // event, so take what is needed from it right away.
  typedefSarvikDeviceInfo* devices = nullptr;
  uint32_t count = 0;
  if (sdk->getDeviceList(&devices, &count) != 0 || count == 0) {
    std::fprintf(stderr, "no camera found\n");
    return 1;
  }
  const std::string uri = devices[0].uri;

  sarvik::Device* device = nullptr;
  int32_t status = sdk->openDevice(uri.c_str(), &device);
  if (status != 0 || device == nullptr) {
    std::fprintf(stderr, "openDevice(%s) failed: %d\n", uri.c_str(), status);
    return 1;
  }

  // No frame callback: frames wait in the stream's queue (one deep, newest
  // wins) until readFrame takes them.
  sarvik::VideoStream* stream = nullptr;
  status = sdk->openStream(device, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr);
  if (status != 0) {
    std::fprintf(stderr, "openStream(depth) failed: %d\n", status);
    sdk->closeDevice(device);
    return 1;
  }

  int exitCode = 0;
  for (int i = 0; i < 30; ++i) {
    typedefSarvikFrame* frame = nullptr;
    status = sdk->readFrame(stream, &frame, 2000);  // waits up to 2 s for the next frame
    if (status != 0) {
      std::fprintf(stderr, "readFrame failed: %d\n", status);  // -9: the camera was unplugged
      exitCode = 1;
      break;
    }
    // Depth pixels are 16-bit; the record's fields stay valid until release.
    const uint16_t* depth = static_cast<const uint16_t*>(frame->data);
    const uint32_t centre = (frame->height / 2) * frame->width + frame->width / 2;
    std::printf("frame %u: %ux%u, centre sample %u\n", frame->frameNumber, frame->width, frame->height,
                frame->dataSize >= 2 * (centre + 1) ? depth[centre] : 0u);
    // Every frame handed out carries one reference for us; without this
    // release it would never go back to the pool.
    sdk->releaseFrame(frame);
  }

  // closeDevice would close the stream too; closing it first is clearer.
  sdk->closeStream(stream);
  sdk->closeDevice(device);
  return exitCode;
}

}  // namespace

int main() {
  const std::string path = modulePath();
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    std::fprintf(stderr, "cannot load %s: %s\n", path.c_str(), dlerror());
    return 1;
  }
  auto contextFactory = reinterpret_cast<ContextFactoryFn>(dlsym(module, "ContextFactory"));
  auto deleteContext = reinterpret_cast<DeleteContextFn>(dlsym(module, "deleteContext"));
  if (contextFactory == nullptr || deleteContext == nullptr) {
    std::fprintf(stderr, "%s is not the SDK module\n", path.c_str());
    return 1;
  }

  // One context per process; initialize loads the transport plug-ins and
  // fills the device table.
  SarvikBaseContext* sdk = contextFactory();
  int exitCode = 1;
  const int32_t status = sdk->initialize();
  if (status == 0) {
    exitCode = readFrames(sdk);
    sdk->shutdown();
  } else {
    std::fprintf(stderr, "initialize failed: %d\n", status);
  }
  deleteContext(sdk);
  return exitCode;
}
