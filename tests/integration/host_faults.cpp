// SPDX-License-Identifier: MIT
//
// A host that misbehaves: preloaded into a program, it makes calls of the C library fail, as often
// as a file of the test says. HOST_FAULTS names the file, which holds a HostFaults record; the test
// changes the chances and reads the counts while the program runs.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

enum class Fault : std::uint32_t {
    SendFails,       ///< a datagram is refused with ENOBUFS
    SendIsShort,     ///< a stream takes a part only
    ReceiveFails,    ///< a batch of datagrams ends in an error
    ReceiveIsEmpty,  ///< a datagram of a batch has no bytes
    ReceiveIsShort,  ///< a stream gives a part only
    Interrupted,     ///< waiting or a stream ends in EINTR
    ClockJumps,      ///< the wall clock is days off
    Count,
};
constexpr std::size_t kFaults = static_cast<std::size_t>(Fault::Count);

/// As it stands in the file, in the order of the machine.
struct HostFaults {
    std::array<std::atomic<std::uint64_t>, kFaults> percent;
    std::array<std::atomic<std::uint64_t>, kFaults> count;
};

HostFaults* openFaults() {
    const char* path = std::getenv("HOST_FAULTS");
    const int file = path == nullptr ? -1 : ::open(path, O_RDWR | O_CLOEXEC);
    if (file < 0)
        return nullptr;
    void* memory = ::mmap(nullptr, sizeof(HostFaults), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return memory == MAP_FAILED ? nullptr : static_cast<HostFaults*>(memory);
}

std::uint64_t nextRandom() {
    static std::atomic<std::uint64_t> state = 1;
    std::uint64_t mixed = state.fetch_add(0x9E3779B97F4A7C15U);
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
}

/// Whether this call is one of those that fail; counts it then.
bool strikes(Fault fault) {
    static HostFaults* const faults = openFaults();
    const auto index = static_cast<std::size_t>(fault);
    if (faults == nullptr || nextRandom() % 100 >= faults->percent[index])
        return false;
    faults->count[index]++;
    return true;
}

int failWith(int error) {
    errno = error;
    return -1;
}

bool isStream(int socket) {
    int type = 0;
    socklen_t length = sizeof type;
    return ::getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_STREAM;
}

std::size_t partOf(std::size_t length) {
    return length < 2 ? length : 1 + nextRandom() % (length - 1);
}

/// The C library's function of the same name and type as the one here.
template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

#define ORIGINAL(name) static auto* const next = original<decltype(name)>(#name)

extern "C" {

ssize_t send(int socket, const void* bytes, std::size_t length, int flags) {
    ORIGINAL(send);
    if (!isStream(socket))
        return strikes(Fault::SendFails) ? failWith(ENOBUFS) : next(socket, bytes, length, flags);
    if (strikes(Fault::Interrupted))
        return failWith(EINTR);
    return next(socket, bytes, strikes(Fault::SendIsShort) ? partOf(length) : length, flags);
}

ssize_t recv(int socket, void* bytes, std::size_t length, int flags) {
    ORIGINAL(recv);
    if (strikes(Fault::Interrupted))
        return failWith(EINTR);
    const bool part = isStream(socket) && strikes(Fault::ReceiveIsShort);
    return next(socket, bytes, part ? partOf(length) : length, flags);
}

/// Descriptors come with the part, as they come with the whole.
ssize_t recvmsg(int socket, msghdr* message, int flags) {
    ORIGINAL(recvmsg);
    if (!isStream(socket))
        return next(socket, message, flags);
    if (strikes(Fault::Interrupted))
        return failWith(EINTR);
    if (message->msg_iovlen == 0 || !strikes(Fault::ReceiveIsShort))
        return next(socket, message, flags);
    iovec part = message->msg_iov[0];
    part.iov_len = partOf(part.iov_len);
    msghdr cut = *message;
    cut.msg_iov = &part;
    cut.msg_iovlen = 1;
    const ssize_t got = next(socket, &cut, flags);
    message->msg_namelen = cut.msg_namelen;
    message->msg_controllen = cut.msg_controllen;
    message->msg_flags = cut.msg_flags;
    return got;
}

int recvmmsg(int socket, mmsghdr* messages, unsigned count, int flags, timespec* timeout) {
    ORIGINAL(recvmmsg);
    static constexpr std::array<int, 4> kErrors = {ENETDOWN, ECONNREFUSED, ENOMEM, EINTR};
    if (strikes(Fault::ReceiveFails))
        return failWith(kErrors[nextRandom() % kErrors.size()]);
    const int got = next(socket, messages, count, flags, timeout);
    if (got > 0 && strikes(Fault::ReceiveIsEmpty))
        messages[nextRandom() % static_cast<unsigned>(got)].msg_len = 0;
    return got;
}

int epoll_wait(int poll, epoll_event* events, int count, int timeoutMs) {
    ORIGINAL(epoll_wait);
    return strikes(Fault::Interrupted) ? failWith(EINTR) : next(poll, events, count, timeoutMs);
}

int poll(pollfd* items, nfds_t count, int timeoutMs) {
    ORIGINAL(poll);
    return strikes(Fault::Interrupted) ? failWith(EINTR) : next(items, count, timeoutMs);
}

int ppoll(pollfd* items, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    ORIGINAL(ppoll);
    return strikes(Fault::Interrupted) ? failWith(EINTR) : next(items, count, timeout, signals);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    ORIGINAL(clock_gettime);
    constexpr std::uint64_t kMostDays = 1000;
    constexpr std::time_t kSecondsPerDay = 86400;
    const int status = next(clock, now);
    if (clock == CLOCK_REALTIME && strikes(Fault::ClockJumps))
        now->tv_sec += static_cast<std::time_t>(nextRandom() % kMostDays) * kSecondsPerDay *
                       (nextRandom() % 2 == 0 ? 1 : -1);
    return status;
}

}  // extern "C"
