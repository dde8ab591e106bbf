# Cross build for 64-bit Windows with Debian's mingw-w64 compilers (the POSIX-threads variant,
# which the standard library's threads and mutexes need); used by `make windows`.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TRAVUNE_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TRAVUNE_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TRAVUNE_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${TRAVUNE_MINGW_PREFIX}-windres)
set(TRAVUNE_WIDL ${TRAVUNE_MINGW_PREFIX}-widl)

set(CMAKE_FIND_ROOT_PATH /usr/${TRAVUNE_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's own runtime (libgcc, libstdc++, winpthread) is linked into every module, so
# the DLLs and programs need nothing beside them but the system's DLLs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
