// SPDX-License-Identifier: MIT
//
// Stands between user-mode-linux and ptrace(): the kernel of Debian 12 keeps 2696 bytes of a
// processor's extended state, and a processor with tile registers (AMX) has 11 KB, which can only
// be written whole. It would panic at the first program. Here what it does not know is left out
// when it reads, and kept as it was when it writes; nothing in it uses tiles. Where all fits
// nothing changes.
#include <dlfcn.h>
#include <elf.h>
#include <sys/ptrace.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

using Ptrace = long (*)(int, ...);

/// The first word behind the legacy area: which components the area holds.
constexpr std::size_t kHeldOffset = 512;
/// Tile configuration and tile data.
constexpr std::uint64_t kTiles = std::uint64_t{3} << 17;

/// More than any processor's state. Not on the stack, which is a small one of the kernel's; there
/// is one thread that traces.
std::array<std::uint8_t, 65536> state;

Ptrace real() {
    static const auto found = reinterpret_cast<Ptrace>(dlsym(RTLD_NEXT, "ptrace"));
    return found;
}

/// Reads all of the state. @return its bytes, or -1 with errno
long readState(int process) {
    iovec all{state.data(), state.size()};
    const long result = real()(PTRACE_GETREGSET, process, NT_X86_XSTATE, &all);
    return result < 0 ? result : static_cast<long>(all.iov_len);
}

long get(int process, iovec& wanted) {
    const long length = readState(process);
    if (length < 0)
        return length;
    wanted.iov_len = std::min(wanted.iov_len, static_cast<std::size_t>(length));
    std::memcpy(wanted.iov_base, state.data(), wanted.iov_len);
    return 0;
}

long set(int process, iovec& given) {
    const long length = readState(process);
    if (length < 0)
        return length;
    if (given.iov_len < static_cast<std::size_t>(length)) {
        std::memcpy(state.data(), given.iov_base, given.iov_len);
        std::uint64_t held = 0;
        std::memcpy(&held, state.data() + kHeldOffset, sizeof held);
        held &= ~kTiles;
        std::memcpy(state.data() + kHeldOffset, &held, sizeof held);
        iovec all{state.data(), static_cast<std::size_t>(length)};
        return real()(PTRACE_SETREGSET, process, NT_X86_XSTATE, &all);
    }
    return real()(PTRACE_SETREGSET, process, NT_X86_XSTATE, &given);
}

}  // namespace

/// Stands in for ptrace(), which is declared with an ellipsis; on this processor its arguments come
/// as those of any other function. The label gives it the name under which the kernel finds it.
extern "C" long tracedPtrace(int request, int process, void* address, void* data) noexcept
    __asm__("ptrace");

extern "C" long tracedPtrace(int request, int process, void* address, void* data) noexcept {
    if (reinterpret_cast<std::uintptr_t>(address) == NT_X86_XSTATE) {
        if (request == PTRACE_GETREGSET)
            return get(process, *static_cast<iovec*>(data));
        if (request == PTRACE_SETREGSET)
            return set(process, *static_cast<iovec*>(data));
    }
    return real()(request, process, address, data);
}
