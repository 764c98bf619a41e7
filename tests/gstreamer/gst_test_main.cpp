// gtest_main with the camera folder set up once for the whole process: the
// SDK module is loaded once per process and stays loaded.
#include <gtest/gtest.h>

#include "gst_test_support.h"

// The linked gtest_main calls RUN_ALL_TESTS; this registers the environment
// before it runs.
static ::testing::Environment* const g_cameraFolder =
    ::testing::AddGlobalTestEnvironment(new sarvik_gst_test::CameraFolder());
