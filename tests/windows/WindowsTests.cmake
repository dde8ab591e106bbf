# The test suite on Windows (run under Wine by `make test-windows`). Left out, because they need
# POSIX services that have no stand-in here:
#   tools/            run the travune program through POSIX shells, pipes and signals
#   platform/         check the POSIX platform layer itself (locks, locale objects, /proc)
#   api/DfaTest       unmapped pages from mmap for the caller-memory checks
#   api/TvnApiTest, api/ThreadedFormattingTest
#                     narrow-character paths from std::filesystem (wide on Windows)
#   api/HostileCountsTest, api/SideBySideTest, api/WriteFailureTest
#                     child processes through fork, with setrlimit limits
#   support/NumberTextTest   per-thread locale objects (newlocale/uselocale)
#   writer/TgtFmtMEscopeTest the block-writer library opened with dlopen
#   writer/uff/Uff58ConversionTest   counts temporary files in a TMPDIR of its own, which
#                                    Windows does not read
set(TRAVUNE_POSIX_ONLY_TESTS "/tools/|/platform/|/api/DfaTest|/api/TvnApiTest|\
/api/ThreadedFormattingTest|/api/HostileCountsTest|/api/SideBySideTest|\
/api/WriteFailureTest|\
/support/NumberTextTest|/writer/TgtFmtMEscopeTest|/writer/uff/Uff58ConversionTest")
list(FILTER TRAVUNE_TEST_SOURCES EXCLUDE REGEX "${TRAVUNE_POSIX_ONLY_TESTS}")

# A C program that loads travune.dll as its callers do; it lies beside the DLLs it loads.
add_executable(travune_dll_client ${CMAKE_CURRENT_LIST_DIR}/DllClient.c)
target_compile_options(travune_dll_client PRIVATE ${TRAVUNE_WARNINGS})
target_link_libraries(travune_dll_client PRIVATE oleaut32 ole32)
set_target_properties(travune_dll_client PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
add_dependencies(travune_dll_client travune qulix wrtblk32)
