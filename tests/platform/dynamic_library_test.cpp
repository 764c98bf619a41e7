#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace sarvik {
namespace {

typedef void* (*InstanceFn)();

TEST(DynamicLibraryTest, LoadedExportIsCallableAndStaysPrivate) {
  void* library = loadLibrary(FIXTURE_DEFINES_INSTANCE_PATH);
  ASSERT_NE(nullptr, library) << dlerror();
  auto instance = reinterpret_cast<InstanceFn>(findSymbol(library, "driverInstance"));
  ASSERT_NE(nullptr, instance);
  EXPECT_NE(nullptr, instance());
  EXPECT_EQ(nullptr, findSymbol(library, "driverDestroy"));
  // Loaded locally: the export must not become visible process-wide, or two
  // plug-ins would bind each other's symbols.
  EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, "driverInstance"));
  freeLibrary(library);
}

TEST(DynamicLibraryTest, BareNameGoesThroughTheLoadersSearch) {
  void* library = loadLibrary("libc.so.6");
  ASSERT_NE(nullptr, library) << dlerror();
  EXPECT_NE(nullptr, findSymbol(library, "strlen"));
  freeLibrary(library);
}

TEST(DynamicLibraryTest, MissingFilesUnresolvableImportsAndNullArgumentsGiveNull) {
  // Every import is resolved at load, not at the first call.
  EXPECT_EQ(nullptr, loadLibrary(FIXTURE_IMPORTS_INSTANCE_PATH));
  EXPECT_EQ(nullptr, loadLibrary(nullptr));
  EXPECT_EQ(nullptr, loadLibrary("/nonexistent/libNothing.so"));
  EXPECT_EQ(nullptr, loadLibrary("libSarvikSurelyNotInstalled.so"));
  EXPECT_EQ(nullptr, findSymbol(nullptr, "driverInstance"));
  void* library = loadLibrary(FIXTURE_DEFINES_INSTANCE_PATH);
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(nullptr, findSymbol(library, nullptr));
  freeLibrary(library);
  freeLibrary(nullptr);
}

}  // namespace
}  // namespace sarvik
