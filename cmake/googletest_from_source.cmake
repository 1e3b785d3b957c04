# GoogleTest for the cross build: Debian ships no mingw-w64 binaries, only the sources (package
# googletest), which are built here with the cross compiler. Gives the targets GTest::gtest and
# GTest::gtest_main, as find_package(GTest) does on Linux.
set(ZTTSP_GOOGLETEST_SOURCE_DIR /usr/src/googletest/googletest
    CACHE PATH "GoogleTest sources to build for the cross build")
if(NOT EXISTS ${ZTTSP_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "GoogleTest sources not found in ${ZTTSP_GOOGLETEST_SOURCE_DIR}: "
                      "scripts/install-deps.sh windows installs them")
endif()

set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${ZTTSP_GOOGLETEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# Third-party code: our warning flags are not its concern.
foreach(target gtest gtest_main)
  target_compile_options(${target} PRIVATE -w)
endforeach()
if(NOT TARGET GTest::gtest)
  add_library(GTest::gtest ALIAS gtest)
  add_library(GTest::gtest_main ALIAS gtest_main)
endif()
