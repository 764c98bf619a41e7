// The page's files, built into the program (see embed_assets.cmake).
#ifndef SARVIK_VIEWER_PAGE_ASSETS_H
#define SARVIK_VIEWER_PAGE_ASSETS_H

#include <cstddef>
#include <string>

namespace sarvik_viewer {

struct PageAsset {
  const char* path;  // "/index.html", "/viewer.js", ...
  const char* type;  // Content-Type
  const unsigned char* data;
  size_t size;
};

// The file served at `path`; null for any other path.
const PageAsset* findPageAsset(const std::string& path);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_PAGE_ASSETS_H
