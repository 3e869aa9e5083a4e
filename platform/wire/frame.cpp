// SPDX-License-Identifier: MIT
#include "platform/wire/frame.h"

#include <algorithm>

#include "platform/wire/byte_reader.h"

namespace platform {
namespace {

constexpr std::array<u8, 3> kLlcSnap = {0xAA, 0xAA, 0x03};
constexpr std::array<u8, 3> kLlcGvrp = {0x42, 0x42, 0x03};
constexpr std::array<u8, 3> kSnapOrganisation = {0x00, 0x00, 0x00};

constexpr std::array<std::string_view, kDropReasonCount> kReasonTexts = {"none",
                                                                         "too short",
                                                                         "too long",
                                                                         "other destination",
                                                                         "VLAN-tagged",
                                                                         "other type",
                                                                         "bad 802.3 length",
                                                                         "malformed PDU",
                                                                         "PDU without vectors",
                                                                         "beyond the PDU budget"};

FrameView dropped(DropReason reason) {
    FrameView view;
    view.reason = reason;
    return view;
}

FrameView found(FrameKind kind, std::span<const u8> frame, std::size_t pduOffset) {
    FrameView view;
    view.kind = kind;
    view.frame = frame;
    view.pduOffset = static_cast<u8>(pduOffset);
    return view;
}

bool startsWith(std::span<const u8> bytes, std::span<const u8> prefix) {
    return bytes.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

/// Frames with an 802.3 length: our MVRP and GVRP. What lies beyond the length is padding.
FrameView classifyLlc(std::span<const u8> bytes, std::size_t length) {
    if (length > bytes.size() - kEthernetHeaderBytes)
        return dropped(DropReason::BadLength);
    const std::span<const u8> frame = bytes.first(kEthernetHeaderBytes + length);
    const std::span<const u8> llc = frame.subspan(kEthernetHeaderBytes);
    if (startsWith(llc, kLlcGvrp)) {
        return frame.size() > kGvrpHeaderBytes ? found(FrameKind::Gvrp, frame, kGvrpHeaderBytes)
                                               : dropped(DropReason::BadLength);
    }
    if (!startsWith(llc, kLlcSnap)) {
        return dropped(llc.size() < kLlcSnap.size() ? DropReason::BadLength
                                                    : DropReason::OtherType);
    }
    if (frame.size() <= kNativeHeaderBytes)
        return dropped(DropReason::BadLength);
    const std::span<const u8> snap = llc.subspan(kLlcSnap.size());
    ByteReader protocol(snap.subspan(kSnapOrganisation.size()));
    if (!startsWith(snap, kSnapOrganisation) || protocol.readU16() != kEthertypeMvrp)
        return dropped(DropReason::OtherType);
    return found(FrameKind::NativeMvrp, frame, kNativeHeaderBytes);
}

}  // namespace

std::string_view dropReasonText(DropReason reason) {
    return kReasonTexts.at(static_cast<std::size_t>(reason));
}

MacAddress FrameView::address(std::size_t offset) const {
    MacAddress mac{};
    std::ranges::copy(frame.subspan(offset, mac.size()), mac.begin());
    return mac;
}

bool isGroupFrame(std::span<const u8> frame) {
    return startsWith(frame, kMvrpGroupAddress);
}

FrameView classifyFrame(std::span<const u8> bytes) {
    if (bytes.size() < kEthernetHeaderBytes)
        return dropped(DropReason::TooShort);
    if (!isGroupFrame(bytes))
        return dropped(DropReason::OtherGroup);
    if (bytes.size() > kLongestFrame)
        return dropped(DropReason::TooLong);
    const u16 type = ByteReader(bytes.subspan(kEthernetHeaderBytes - 2)).readU16();
    if (type < kFirstEthertype)
        return classifyLlc(bytes, type);
    if (type == kEthertypeVlan || type == kEthertypeServiceVlan)
        return dropped(DropReason::Tagged);
    if (type != kEthertypeMvrp)
        return dropped(DropReason::OtherType);
    if (bytes.size() == kEthernetHeaderBytes)
        return dropped(DropReason::BadPdu);
    return found(FrameKind::IeeeMvrp, bytes, kEthernetHeaderBytes);
}

}  // namespace platform
