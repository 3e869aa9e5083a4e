# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# musl and what static programs need above it: Debian has the C library and a wrapper for C, and no C++ for it. So
# LLVM's C++ library and what the daemon needs are compiled from Debian's sources, once. Sourced by ../run.sh, which
# calls makeMuslRoot, configureMusl and buildMusl.
#
# shellcheck disable=SC2034,SC2154,SC2317  # of the script that sources it: cache, suite, mirror, jobs

muslTriplet=x86_64-linux-musl
muslRoot=${MVRP_CROSS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/mvrp-cross}/musl
muslWork=$muslRoot.work  # while it is made
llvm=19  # the newest LLVM of the suite; its compiler and its C++ library are of one version
# Headers, and sources that a package brings.
muslDownloads=(googletest libcli11-dev libmnl-dev libpcap0.8-dev librapidcheck-dev
    libtomlplusplus-dev linux-libc-dev musl-dev nlohmann-json3-dev)
muslSources=(libcap-ng "llvm-toolchain-$llvm")
# The programs that work on files, and the tests of what needs neither the kernel's library nor a client's.
muslTargets=(mvrp-plan mvrp-scenario scenario-test fuzz-replay-{daemon,platform,running} platform_linux platform_rtnl
    platform_inspect daemon_test daemon_host_test unit_{channel,config,containers,host,model,net,net_locks,observe}
    unit_{replication,requests,runtime,runtime_plain,switch,wire})
muslPackages=("clang-$llvm" dpkg-dev "libclang-rt-$llvm-dev" xz-utils)

# apt with lists of its own, which have sources, and no memory of what this machine has installed.
muslApt() {
    apt-get -q -o Dir::Etc::SourceList="$muslWork/sources.list" -o Dir::Etc::SourceParts=/dev/null \
        -o Dir::State::Lists="$muslWork/lists" -o Dir::State::status=/dev/null "$@"
}

# Every download is checked by apt against the archive's signature.
fetchMusl() {
    local from=${mirror:-http://deb.debian.org/debian} source
    mkdir -p "$muslWork/lists/partial" "$muslWork/downloads"
    printf '%s %s %s main\n' deb "$from" "$suite" deb-src "$from" "$suite" >"$muslWork/sources.list"
    muslApt update || return
    (cd "$muslWork/downloads" && muslApt download "${muslDownloads[@]}") || return
    for source in "${muslSources[@]}"; do
        (cd "$muslWork/downloads" && muslApt source --download-only "$source") || return
    done
}

# unpackDownload NAME FROM TO: a folder of a package
unpackDownload() {
    rm -rf "$muslWork/unpacked"
    dpkg-deb -x "$muslWork/downloads/$1"_*.deb "$muslWork/unpacked" &&
        mkdir -p "$muslRoot/$3" && cp -r "$muslWork/unpacked/$2/." "$muslRoot/$3"
}

unpackHeaders() {
    local name
    unpackDownload musl-dev "usr/include/$muslTriplet" usr/include &&
        unpackDownload musl-dev "usr/lib/$muslTriplet" usr/lib || return
    for name in asm-generic linux; do
        unpackDownload linux-libc-dev "usr/include/$name" "usr/include/$name" || return
    done
    unpackDownload linux-libc-dev usr/include/x86_64-linux-gnu/asm usr/include/asm || return
    for name in libcli11-dev libmnl-dev libpcap0.8-dev libtomlplusplus-dev nlohmann-json3-dev; do
        unpackDownload $name usr/include usr/include || return
    done
    for name in libcli11-dev nlohmann-json3-dev; do unpackDownload $name usr/share usr/share || return; done
    # Tests that are not built here ask for it.
    unpackDownload librapidcheck-dev usr usr || return
    # Headers are all there is of libpcap, which programs open while they run: a static one can not.
    mkdir -p "$muslRoot/usr/lib/pkgconfig"
    printf 'Name: libpcap\nDescription: headers\nVersion: 1\nCflags:\n' >"$muslRoot/usr/lib/pkgconfig/libpcap.pc"
}

# -static, so that what its configure script tries out links.
capabilityLibrary() {
    local place=$muslWork/libcap-ng
    mkdir -p "$place"
    tar -xf "$muslWork/downloads/libcap-ng"_*.orig.tar.gz -C "$place" --strip-components=1 &&
        (cd "$place" && ./configure --host="$muslTriplet" --prefix=/usr --disable-shared --without-python{,3} \
            CC="clang-$llvm --target=$muslTriplet --sysroot=$muslRoot --rtlib=compiler-rt --unwindlib=none" \
            LDFLAGS=-static CFLAGS=-O2 && make -j "$jobs" && make install DESTDIR="$muslRoot")
}

# One library with all that a C++ program needs: the C++ library, its ABI and the unwinder. Nothing can be linked before
# it is there, so what cmake asks for by linking is answered here.
cxxLibrary() {
    local place=$muslWork/llvm
    rm -rf "$place"
    mkdir -p "$place"
    tar -xf "$muslWork/downloads/llvm-toolchain-$llvm"_*.orig.tar.xz -C "$place" --strip-components=1 --wildcards \
        '*/cmake/Modules/*' '*/libcxx/*' '*/libcxxabi/*' '*/libunwind/*' '*/llvm/cmake/*' '*/runtimes/*' || return
    cmake -S "$place/runtimes" -B "$place/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
        -DLLVM_ENABLE_RUNTIMES='libcxx;libcxxabi;libunwind' -DLLVM_INCLUDE_TESTS=OFF \
        -DCMAKE_{C,CXX,ASM}_COMPILER_TARGET=$muslTriplet -DCMAKE_SYSROOT="$muslRoot" \
        -DCMAKE_{C,ASM}_COMPILER="clang-$llvm" -DCMAKE_CXX_COMPILER="clang++-$llvm" \
        -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY -DCMAKE_EXE_LINKER_FLAGS=--rtlib=compiler-rt \
        -DLIB{CXX,CXXABI,UNWIND}_ENABLE_SHARED=OFF -DLIBCXX_INCLUDE_{BENCHMARKS,TESTS}=OFF \
        -DLIB{CXXABI,UNWIND}_INCLUDE_TESTS=OFF -DLIB{CXX,CXXABI,UNWIND}_USE_COMPILER_RT=ON \
        -DLIBCXX_HAS_MUSL_LIBC=ON -DLIBCXX_CXX_ABI=libcxxabi -DLIBCXX_ENABLE_STATIC_ABI_LIBRARY=ON \
        -DLIBCXXABI_HAS_CXA_THREAD_ATEXIT_IMPL=OFF \
        -DLIBCXXABI_USE_LLVM_UNWINDER=ON -DLIBCXXABI_ENABLE_STATIC_UNWINDER=ON &&
        ninja -C "$place/build" -j "$jobs" && DESTDIR="$muslRoot" ninja -C "$place/build" install
}

# GoogleTest comes as its sources.
testLibrary() {
    unpackDownload googletest usr/src/googletest usr/src/googletest &&
        cmake -S "$muslRoot/usr/src/googletest" -B "$muslWork/googletest" -G Ninja -DCMAKE_INSTALL_PREFIX=/usr \
            -DCMAKE_TOOLCHAIN_FILE="$PWD/tests/cross/musl/toolchain.cmake" -DMVRP_CROSS_ROOT="$muslRoot" \
            -DMVRP_MUSL_LLVM=$llvm -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF &&
        ninja -C "$muslWork/googletest" -j "$jobs" && DESTDIR="$muslRoot" ninja -C "$muslWork/googletest" install
}

# makeMuslRoot: once; what it was made of stands in it.
makeMuslRoot() {
    local stamp="$suite $mirror $llvm ${muslDownloads[*]} ${muslSources[*]}"
    [[ $(cat "$muslRoot/.made-of" 2>/dev/null) != "$stamp" ]] || return 0
    rm -rf "$muslRoot" "$muslWork"
    mkdir -p "$muslRoot" "$muslWork"
    fetchMusl && unpackHeaders && cxxLibrary && testLibrary && capabilityLibrary || return
    rm -rf "$muslWork"
    echo "$stamp" >"$muslRoot/.made-of"
}

# configureMusl DIRECTORY [OPTION...]
configureMusl() {
    local directory=$1
    shift
    cmake -S . -B "$directory" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/tests/cross/musl/toolchain.cmake" \
        -DMVRP_CROSS_ROOT="$muslRoot" -DMVRP_MUSL_LLVM=$llvm \
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= "$@"
}

# What needs none of the libraries that are not built for musl; these have to be named all the same.
buildMusl() {
    makeMuslRoot && configureMusl build-cross-musl -DMVRP_UNITY=ON -DMVRP_PRECOMPILE=ON \
        -DMNL_LIBRARY=mnl -DEDIT_LIBRARY=edit -DEDIT_INCLUDE="$muslRoot" -DMICROHTTPD_LIBRARY=microhttpd \
        -DLibArchive_LIBRARY=archive -DLibArchive_INCLUDE_DIR="$muslRoot" &&
        ninja -C build-cross-musl -j "$jobs" "${muslTargets[@]}"
}
