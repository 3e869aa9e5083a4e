# Static programs with musl, by clang and LLVM's C++ library. MVRP_CROSS_ROOT is what root.sh made, MVRP_MUSL_LLVM
# the version of both.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MVRP_CROSS_ROOT MVRP_MUSL_LLVM)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER clang++-${MVRP_MUSL_LLVM})
set(CMAKE_CXX_COMPILER_TARGET x86_64-linux-musl)
set(CMAKE_C_COMPILER clang-${MVRP_MUSL_LLVM})
set(CMAKE_C_COMPILER_TARGET x86_64-linux-musl)
set(CMAKE_SYSROOT ${MVRP_CROSS_ROOT})
# std::jthread is whole in this version of the library, and still kept with what is tried out.
set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++ -fexperimental-library")
# The kernel's headers have records that this C library has, too, and leave them out where its own came before.
string(APPEND CMAKE_CXX_FLAGS_INIT " -include netinet/in.h")
# Lengths of a message are socklen_t here and std::size_t elsewhere; CMSG_NXTHDR() itself compares signed with unsigned.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-error=shorten-64-to-32 -Wno-error=sign-compare")
# A thread has 128 KiB of stack here unless the program asks for more; elsewhere it has 8 MiB.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static --rtlib=compiler-rt --unwindlib=libunwind -Wl,-z,stack-size=8388608")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${MVRP_CROSS_ROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${MVRP_CROSS_ROOT}/usr/lib/pkgconfig)
