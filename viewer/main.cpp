// sarvik-view: a live view of a camera in the browser. `sarvik view` runs it.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "listen_address.h"
#include "sarvik/SarvikLoader.h"
#include "viewer_server.h"

namespace {

int run(const std::string& listen, const std::string& device, const std::string& module,
        sarvik_viewer::ViewerOptions options) {
  std::string error;
  if (!sarvik_viewer::parseListenAddress(listen, &options.host, &options.port, &error)) {
    std::fprintf(stderr, "sarvik view: --listen: %s\n", error.c_str());
    return 2;
  }
  sarvik::ModuleLoader loader;
  if (!loader.load(module, &error)) {
    std::fprintf(stderr, "sarvik view: %s\n", error.c_str());
    return 1;
  }
  SarvikBaseContext* context = loader.contextFactory()();
  const int32_t status = context->initialize();
  if (status != 0) {
    std::fprintf(stderr, "sarvik view: the SDK did not start (status %d)\n", status);
    loader.deleteContext()(context);
    return 1;
  }
  int code = 0;
  {
    sarvik_viewer::ViewerServer server(context, options);
    const sarvik_viewer::ApiResult opened = server.session().open(device);
    if (!opened.ok() && !device.empty()) {
      std::fprintf(stderr, "sarvik view: %s\n", opened.error.c_str());
      code = 1;
    } else if (!server.bind(&error)) {
      std::fprintf(stderr, "sarvik view: %s\n", error.c_str());
      code = 1;
    } else {
      if (!opened.ok()) std::fprintf(stderr, "sarvik view: %s; choose one on the page\n", opened.error.c_str());
      const std::string shown = options.host.find(':') != std::string::npos ? "[" + options.host + "]" : options.host;
      std::printf("sarvik view: http://%s:%d/ (Ctrl-C ends)\n", shown.c_str(), server.port());
      if (!sarvik_viewer::isLoopbackHost(options.host)) {
        std::printf("sarvik view: listening beyond this machine: anyone who reaches %s can watch and record\n",
                    options.host.c_str());
      }
      std::fflush(stdout);
      server.serve();
      sigset_t stopSignals;
      sigemptyset(&stopSignals);
      sigaddset(&stopSignals, SIGINT);
      sigaddset(&stopSignals, SIGTERM);
      int received = 0;
      sigwait(&stopSignals, &received);
      server.stop();
    }
  }
  context->shutdown();
  loader.deleteContext()(context);
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  // Blocked before any thread starts, so every thread inherits the mask and
  // the main thread alone takes the signal in sigwait.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);  // a browser that goes away is a failed write, not the end

  CLI::App app{"Show a camera live in the browser: colour, depth, infrared and the point cloud.", "sarvik view"};
  std::string listen = "127.0.0.1:8080";
  std::string device;
  std::string module;
  sarvik_viewer::ViewerOptions options;
  app.add_option("--listen", listen,
                 "address and port to serve on; only this machine can connect unless another address is named")
      ->capture_default_str();
  app.add_option("-o,--output", options.outputFolder, "folder for snapshots and recordings")->capture_default_str();
  app.add_option("--max-pages", options.maxPages, "browser pages that may watch at once")
      ->check(CLI::Range(1, 16))
      ->capture_default_str();
  app.add_option("--module", module, "the SDK module to load instead of the one found beside the program");
  app.add_option("ADDRESS", device, "camera by address, serial number or index; default the first");
  CLI11_PARSE(app, argc, argv);
  options.threads = options.maxPages + 8;
  return run(listen, device, module, options);
}
