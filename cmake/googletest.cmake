# GoogleTest from the sources that Debian installs: the same way for every
# compiler, word size and sanitizer. Elsewhere, an installed GoogleTest.

set(ZYLQX_GOOGLETEST /usr/src/googletest/googletest CACHE PATH "GoogleTest's sources")
if(EXISTS ${ZYLQX_GOOGLETEST}/src/gtest-all.cc)
  find_package(Threads REQUIRED)
  add_library(zylqx_gtest STATIC EXCLUDE_FROM_ALL
    ${ZYLQX_GOOGLETEST}/src/gtest-all.cc ${ZYLQX_GOOGLETEST}/src/gtest_main.cc)
  target_include_directories(zylqx_gtest SYSTEM PUBLIC ${ZYLQX_GOOGLETEST}/include PRIVATE ${ZYLQX_GOOGLETEST})
  target_link_libraries(zylqx_gtest PUBLIC Threads::Threads)
  target_compile_options(zylqx_gtest PRIVATE -w)
  add_library(GTest::gtest_main ALIAS zylqx_gtest)
else()
  zylqx_need(ZYLQX_TESTS GTest googletest)
endif()
