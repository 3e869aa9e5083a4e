// SPDX-License-Identifier: MIT
#include "platform/wire/pcapng.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace platform {
namespace {

// Numbers of the format (draft-ietf-opsawg-pcapng).
constexpr u32 kSectionHeader = 0x0A0D0D0A;
constexpr u32 kInterface = 1;
constexpr u32 kOldPacket = 2;
constexpr u32 kSimplePacket = 3;
constexpr u32 kEnhancedPacket = 6;
constexpr u32 kByteOrder = 0x1A2B3C4D;
constexpr u16 kInterfaceName = 2;  // option of an interface
constexpr u16 kPacketFlags = 2;    // option of a packet
constexpr u32 kWayBits = 3;        // of the flags; FrameWay has their values
constexpr u16 kEthernet = 1;
constexpr std::size_t kBlockEnds = 12;  // type and length before, length behind
constexpr std::size_t kAlign = 4;
constexpr std::size_t kPacketHeader = 20;  // of an enhanced and of an old packet

constexpr std::size_t padded(std::size_t length) {
    return (length + kAlign - 1) / kAlign * kAlign;
}

/// Fields of a section, in its byte order. A field beyond the end is 0.
class Fields {
  public:
    Fields(std::span<const u8> bytes, bool swapped) : bytes_(bytes), swapped_(swapped) {}

    u32 u32At(std::size_t at) const {
        u32 value = 0;
        if (at + sizeof value <= bytes_.size())
            std::memcpy(&value, bytes_.data() + at, sizeof value);
        return swapped_ ? __builtin_bswap32(value) : value;
    }
    u16 u16At(std::size_t at) const {
        u16 value = 0;
        if (at + sizeof value <= bytes_.size())
            std::memcpy(&value, bytes_.data() + at, sizeof value);
        return swapped_ ? __builtin_bswap16(value) : value;
    }
    std::size_t size() const { return bytes_.size(); }
    Fields part(std::size_t from, std::size_t length) const {
        return {bytes_.subspan(from, length), swapped_};
    }
    std::string text() const {
        return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
    }

    /// The value of the first option of this number in the list that begins at `from`.
    std::optional<Fields> option(std::size_t from, u16 wanted) const {
        while (from + kAlign <= size()) {
            const u16 number = u16At(from);
            const std::size_t length = u16At(from + sizeof number);
            from += kAlign;
            if (number == 0 || length > size() - from)
                return std::nullopt;
            if (number == wanted)
                return part(from, length);
            from = std::min(from + padded(length), size());
        }
        return std::nullopt;
    }

  private:
    std::span<const u8> bytes_;
    bool swapped_;
};

class Reader {
  public:
    explicit Reader(std::span<const u8> file) : file_(file) {}

    std::vector<FrameOrigin> read() {
        while (file_.size() >= kBlockEnds && takeBlock()) {
        }
        return std::move(origins_);
    }

  private:
    /// @return false where the file makes no sense any more
    bool takeBlock() {
        if (Fields(file_, false).u32At(0) == kSectionHeader) {  // reads the same either way
            swapped_ = Fields(file_, false).u32At(8) != kByteOrder;
            if (Fields(file_, swapped_).u32At(8) != kByteOrder)
                return false;
            ports_.clear();
            inSection_ = true;
        }
        const Fields block(file_, swapped_);
        const std::size_t length = block.u32At(4);
        if (!inSection_ || length < kBlockEnds || length % kAlign != 0 || length > file_.size())
            return false;
        takeBody(block.u32At(0), block.part(8, length - kBlockEnds));
        file_ = file_.subspan(length);
        return true;
    }

    void takeBody(u32 type, const Fields& body) {
        if (type == kInterface) {
            const auto name = body.option(8, kInterfaceName);
            ports_.push_back(name ? name->text() : std::string());
        } else if (type == kEnhancedPacket || type == kOldPacket) {
            const u32 interface = type == kOldPacket ? body.u16At(0) : body.u32At(0);
            const std::size_t captured = std::min<std::size_t>(body.u32At(12), body.size());
            const auto flags = body.option(kPacketHeader + padded(captured), kPacketFlags);
            addPacket(interface, flags ? flags->u32At(0) : 0);
        } else if (type == kSimplePacket) {
            addPacket(0, 0);
        }
    }

    void addPacket(u32 interface, u32 flags) {
        const u32 way = flags & kWayBits;
        origins_.push_back({interface < ports_.size() ? ports_[interface] : std::string(),
                            way <= static_cast<u32>(FrameWay::Sent) ? static_cast<FrameWay>(way)
                                                                    : FrameWay::Unknown});
    }

    std::span<const u8> file_;  ///< what is not read yet
    bool inSection_ = false;
    bool swapped_ = false;
    std::vector<std::string> ports_;  ///< of the section, by number of the interface
    std::vector<FrameOrigin> origins_;
};

template <typename Number>
void append(std::vector<u8>& out, Number value) {
    const auto* const bytes = reinterpret_cast<const u8*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof value);
}

void appendPadded(std::vector<u8>& out, std::span<const u8> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
    out.resize(out.size() + padded(bytes.size()) - bytes.size());
}

void appendBlock(std::vector<u8>& out, u32 type, std::span<const u8> body) {
    const auto length = static_cast<u32>(body.size() + kBlockEnds);
    append(out, type);
    append(out, length);
    out.insert(out.end(), body.begin(), body.end());
    append(out, length);
}

bool put(std::FILE* file, std::span<const u8> bytes) {
    return std::fwrite(bytes.data(), bytes.size(), 1, file) == 1 && std::fflush(file) == 0;
}

}  // namespace

std::vector<FrameOrigin> pcapngOrigins(std::span<const u8> file) {
    return Reader(file).read();
}

std::optional<PcapngWriter> PcapngWriter::open(const std::string& path,
                                               std::span<const std::string> ports,
                                               std::string& error) {
    PcapngWriter writer(FileHandle(std::fopen(path.c_str(), "wbe")));
    std::vector<u8> body;
    append(body, kByteOrder);
    append(body, u16{1});  // version 1.0
    append(body, u16{0});
    append(body, ~u64{0});  // a section of any length
    std::vector<u8> out;
    appendBlock(out, kSectionHeader, body);
    for (const std::string& port : ports)
        writer.interfaceOf(port, out);
    if (writer.file_ && put(writer.file_.get(), out))
        return writer;
    error = "'" + path + "': " + std::strerror(errno);
    return std::nullopt;
}

u32 PcapngWriter::interfaceOf(const std::string& port, std::vector<u8>& out) {
    const auto found = std::ranges::find(ports_, port);
    const auto number = static_cast<u32>(found - ports_.begin());
    if (found != ports_.end())
        return number;
    std::vector<u8> body;
    append(body, kEthernet);
    append(body, u16{0});  // reserved
    append(body, kPcapLongestRecord);
    append(body, kInterfaceName);
    append(body, static_cast<u16>(port.size()));
    appendPadded(body, {reinterpret_cast<const u8*>(port.data()), port.size()});
    append(body, u32{0});  // the end of the options
    appendBlock(out, kInterface, body);
    ports_.push_back(port);
    return number;
}

bool PcapngWriter::write(std::span<const u8> frame, u64 timeUs, const FrameOrigin& origin) {
    const std::span<const u8> kept =
        frame.first(std::min<std::size_t>(frame.size(), kPcapLongestRecord));
    std::vector<u8> out;
    std::vector<u8> body;
    append(body, interfaceOf(origin.port, out));
    append(body, static_cast<u32>(timeUs >> 32));
    append(body, static_cast<u32>(timeUs));
    append(body, static_cast<u32>(kept.size()));
    append(body, static_cast<u32>(frame.size()));
    appendPadded(body, kept);
    append(body, kPacketFlags);
    append(body, static_cast<u16>(sizeof(u32)));
    append(body, static_cast<u32>(origin.way));
    append(body, u32{0});
    appendBlock(out, kEnhancedPacket, body);
    return put(file_.get(), out);
}

}  // namespace platform
