# GoogleTest for a cross build: compiled from the sources Debian's libgtest-dev ships in
# /usr/src/googletest, since the host's installed libraries cannot be linked into Windows programs.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
# Its own build defines the GTest::gtest and GTest::gtest_main targets the suites link.
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
