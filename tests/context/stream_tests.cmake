# Stream operations through the application's interface, against the fake
# transport plug-ins and the memory log, one private copy of the module per test.
set(_stream_test_plugins SarvikCommonDriver SarvikTestFakeDriver SarvikTestNoInstance
    SarvikTestNullInstance SarvikTestNoDestroy SarvikTestMemoryLog)

sarvik_add_test(NAME stream_test LABELS unit SOURCES
  stream_operations_test.cpp
  stream_frames_test.cpp
  stream_wait_test.cpp
  stream_callback_test.cpp
  teardown_race_test.cpp)
add_dependencies(stream_test ${_stream_test_plugins})

sarvik_add_test(NAME stream_stress_test LABELS stress SOURCES stream_stress_test.cpp)
add_dependencies(stream_stress_test ${_stream_test_plugins})
