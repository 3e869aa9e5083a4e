# For another processor, with Debian's cross compilers, run here by qemu-user. MVRP_CROSS_TRIPLET and
# MVRP_CROSS_QEMU name compiler and emulator; MVRP_CROSS_ROOT is a directory with the libraries of the
# other processor, or empty: then only what needs no library builds, with the C library that the
# cross compiler brings.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MVRP_CROSS_TRIPLET MVRP_CROSS_QEMU MVRP_CROSS_ROOT
    MVRP_CROSS_PROCESSOR)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${MVRP_CROSS_PROCESSOR})
set(CMAKE_CXX_COMPILER ${MVRP_CROSS_TRIPLET}-g++)
# A note of g++ about a change of the calling convention in version 7, at every vector.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
if(MVRP_CROSS_ROOT)
    set(CMAKE_SYSROOT ${MVRP_CROSS_ROOT})
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${MVRP_CROSS_ROOT})
    set(ENV{PKG_CONFIG_LIBDIR}
        "${MVRP_CROSS_ROOT}/usr/lib/${MVRP_CROSS_TRIPLET}/pkgconfig:${MVRP_CROSS_ROOT}/usr/share/pkgconfig")
    set(CMAKE_CROSSCOMPILING_EMULATOR ${MVRP_CROSS_QEMU} -L ${MVRP_CROSS_ROOT})
else()
    set(CMAKE_CROSSCOMPILING_EMULATOR ${MVRP_CROSS_QEMU} -L /usr/${MVRP_CROSS_TRIPLET})
endif()
