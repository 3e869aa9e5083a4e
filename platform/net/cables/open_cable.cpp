// SPDX-License-Identifier: MIT
#include "platform/net/cables/open_cable.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <net/if.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/net/cables/cable_socket.h"
#include "platform/net/cables/unix_cable.h"
#include "platform/runtime/log.h"
#include "platform/wire/frame.h"

namespace platform {
namespace {

/// Descriptors that cables leave to the rest of the daemon: its own sockets and its clients.
constexpr rlim_t kKeptBack = 24;

class InterfaceCable final : public Cable {
  public:
    InterfaceCable(Descriptor packet, int index) : packet_(std::move(packet)), index_(index) {}
    int descriptor() const override { return packet_.get(); }
    int interfaceIndex() const override { return index_; }

    int send(std::span<const u8> frame, NoRoom /*noRoom*/) override {
        if (::send(packet_.get(), frame.data(), frame.size(), MSG_DONTWAIT) >= 0)
            return 0;
        if (errno == EAGAIN)
            return ENOBUFS;
        // An interface that is down or gone is a cable that is not plugged in.
        const bool lost = errno == ENETDOWN || errno == ENXIO || errno == ENODEV;
        return lost ? 0 : errno;
    }

    /// The kernel takes the interface's index out of the address of its sockets when it goes.
    bool isGone() const override {
        sockaddr_ll address{};
        socklen_t size = sizeof address;
        return getsockname(packet_.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
               address.sll_ifindex <= 0;
    }

  private:
    const Descriptor packet_;
    const int index_;
};

std::shared_ptr<Cable> fail(CableFailure& failure, const std::string& what) {
    failure = {errno, what + ": " + errorText(errno)};
    return nullptr;
}

std::shared_ptr<Cable> openUnix(const CableConfig& config, const CableRules& rules,
                                CableFailure& failure) {
    std::string& error = failure.text;
    std::optional<Place> local = Place::ofPath(config.localPath);
    std::optional<Place> peer = Place::ofPath(config.peerPath);
    if (rules.places != nullptr) {
        local = rules.places->find(config.localPath, error);
        peer = local ? rules.places->find(config.peerPath, error) : std::nullopt;
    }
    if (!local || !peer)
        return nullptr;
    const ino_t own = rules.before == nullptr ? 0 : rules.before->socketNumber();
    errno = 0;
    Descriptor receive = bindSocket(*local, own, rules.places != nullptr, error);
    if (!receive.isOpen()) {
        failure = {errno, "cable socket '" + config.localPath + "': " + error};
        return nullptr;
    }
    return std::make_shared<UnixCable>(std::move(*local), std::move(*peer), std::move(receive));
}

/// Lets through what is sent to 01-80-C2-00-00-21. The filter runs before a tag would be seen, so a
/// tagged frame passes here and is told apart by its auxiliary data.
bool attachGroupFilter(int descriptor) {
    std::array<sock_filter, 6> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x0180C200, 0, 3),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 4),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x0021, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xFFFFFFFF),
        BPF_STMT(BPF_RET | BPF_K, 0),
    }};
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0;
}

/// The socket sees all ethertypes: one bound to a single ethertype misses 802.3 lengths.
bool bindInterface(int descriptor, int index) {
    const int on = 1;
    packet_mreq membership{};
    membership.mr_ifindex = index;
    membership.mr_type = PACKET_MR_MULTICAST;
    membership.mr_alen = static_cast<unsigned short>(kMvrpGroupAddress.size());
    std::memcpy(membership.mr_address, kMvrpGroupAddress.data(), kMvrpGroupAddress.size());
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = index;
    return setsockopt(descriptor, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on) == 0 &&
           setsockopt(descriptor, SOL_PACKET, PACKET_AUXDATA, &on, sizeof on) == 0 &&
           setsockopt(descriptor, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &membership,
                      sizeof membership) == 0 &&
           bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::shared_ptr<Cable> openInterface(const CableConfig& config, CableFailure& failure) {
    const unsigned index = config.interfaceIndex != 0
                               ? config.interfaceIndex
                               : if_nametoindex(config.interfaceName.c_str());
    if (index == 0)
        return fail(failure, "interface '" + config.interfaceName + "'");
    // Protocol 0: nothing is received before the filter is in place.
    Descriptor packet(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!packet.isOpen())
        return fail(failure, isWant(errno) ? "packet socket"
                                           : "packet socket (needs CAP_NET_RAW, which [process] "
                                             "keep-net-raw = true keeps)");
    if (!attachGroupFilter(packet.get()) || !bindInterface(packet.get(), static_cast<int>(index)))
        return fail(failure, "interface '" + config.interfaceName + "'");
    return std::make_shared<InterfaceCable>(std::move(packet), static_cast<int>(index));
}

}  // namespace

std::shared_ptr<Cable> openCable(const CableConfig& config, const CableRules& rules,
                                 CableFailure& failure) {
    std::shared_ptr<Cable> cable;
    if (config.kind == CableKind::Unix)
        cable = openUnix(config, rules, failure);
    else if (config.kind == CableKind::Interface)
        cable = openInterface(config, failure);
    rlimit limit{};
    if (cable == nullptr || getrlimit(RLIMIT_NOFILE, &limit) != 0 ||
        static_cast<rlim_t>(cable->descriptor()) + kKeptBack < limit.rlim_cur)
        return cable;
    errno = EMFILE;
    return fail(failure, "cable");
}

}  // namespace platform
