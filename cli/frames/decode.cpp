// SPDX-License-Identifier: MIT
#include "cli/frames/decode.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "cli/client/safe_text.h"
#include "cli/print/json_document.h"

namespace cli {

namespace {

using platform::FrameKind;
using platform::PduEvent;

class Collect final : public platform::EventSink {
  public:
    explicit Collect(std::vector<DecodedEvent>& events) : events_(events) {}

    void onEvent(u32 vid, PduEvent event) override {
        auto found = std::ranges::find(events_, event, &DecodedEvent::event);
        if (found == events_.end())
            found = events_.insert(events_.end(), {event, {}});
        platform::vlanInsert(found->vlans, vid);
    }

  private:
    std::vector<DecodedEvent>& events_;
};

const char* kindWords(FrameKind kind) {
    switch (kind) {
        case FrameKind::NativeMvrp:
            return "MVRP, native form";
        case FrameKind::IeeeMvrp:
            return "MVRP, IEEE form";
        case FrameKind::Gvrp:
            return "GVRP";
        case FrameKind::None:
            break;
    }
    return "not for MVRP or GVRP";
}

Json kindKey(FrameKind kind) {
    constexpr std::array<const char*, 4> kKeys = {nullptr, "native", "ieee", "gvrp"};
    const char* key = kKeys.at(static_cast<std::size_t>(kind));
    return key == nullptr ? Json(nullptr) : Json(key);
}

std::string timeText(u64 timeUs) {
    const auto seconds = static_cast<std::time_t>(timeUs / 1'000'000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> text{};
    const std::size_t used = std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    std::snprintf(text.data() + used, text.size() - used, ".%03u",
                  static_cast<unsigned>(timeUs / 1000 % 1000));
    return text.data();
}

/// Null when it is not known.
const char* wayWord(platform::FrameWay way) {
    return way == platform::FrameWay::Received ? "in"
           : way == platform::FrameWay::Sent   ? "out"
                                               : nullptr;
}

/// "  swp1 in", as far as it is known.
std::string originText(const platform::FrameOrigin& origin) {
    const char* const way = wayWord(origin.way);
    std::string text = origin.port.empty() ? "" : "  " + safeText(origin.port);
    return way == nullptr ? text : text + (text.empty() ? "  " : " ") + way;
}

std::string reasonText(const DecodedFrame& frame) {
    return frame.reason == platform::DropReason::None
               ? ""
               : std::string(platform::dropReasonText(frame.reason));
}

}  // namespace

DecodedFrame decodeFrame(std::span<const u8> bytes, u64 timeUs) {
    DecodedFrame frame;
    frame.timeUs = timeUs;
    frame.bytes = bytes.size();
    if (bytes.size() >= platform::kEthernetHeaderBytes)
        std::copy_n(bytes.begin() + 6, frame.source.size(), frame.source.begin());
    const platform::FrameView view = platform::classifyFrame(bytes);
    frame.kind = view.kind;
    Collect collect(frame.events);
    frame.reason = platform::walkEvents(view, collect);
    return frame;
}

std::string decodedText(const std::vector<DecodedFrame>& frames, const Style& style) {
    std::string text;
    std::size_t number = 0;
    for (const DecodedFrame& frame : frames) {
        text += style.paint(Colour::Strong, "frame " + std::to_string(++number));
        text += (frame.timeUs == 0 ? "" : "  " + timeText(frame.timeUs)) +
                originText(frame.origin) + "  from " + formatMac(frame.source) + "  " +
                std::to_string(frame.bytes) + " bytes  " + kindWords(frame.kind) + "\n";
        Sheet sheet;
        for (const DecodedEvent& event : frame.events) {
            sheet.add("  " + std::string(platform::pduEventName(event.event)),
                      event.event == PduEvent::LeaveAll ? "all VLANs"
                                                        : platform::formatVlanRanges(event.vlans));
        }
        if (frame.reason != platform::DropReason::None)
            sheet.add("  !", {reasonText(frame), Colour::Bad});
        else if (frame.events.empty())
            sheet.add("  -", {"says nothing about VLANs", Colour::Dim});
        text += sheet.print(style);
    }
    return text.empty() ? "There are no frames.\n" : text;
}

std::string decodedJson(const std::vector<DecodedFrame>& frames) {
    Json list = Json::array();
    for (const DecodedFrame& frame : frames) {
        Json events = Json::array();
        for (const DecodedEvent& event : frame.events) {
            events.push_back({
                {"event", platform::pduEventName(event.event)},
                {"vlans", event.event == PduEvent::LeaveAll
                              ? Json(nullptr)
                              : Json(platform::formatVlanRanges(event.vlans))},
            });
        }
        const char* const way = wayWord(frame.origin.way);
        list.push_back({
            {"port", frame.origin.port.empty() ? Json(nullptr) : Json(safeText(frame.origin.port))},
            {"direction", way == nullptr ? Json(nullptr) : Json(way)},
            {"time", frame.timeUs == 0 ? Json(nullptr) : Json(frame.timeUs / 1000)},
            {"source", formatMac(frame.source)},
            {"bytes", frame.bytes},
            {"form", kindKey(frame.kind)},
            {"problem",
             frame.reason == platform::DropReason::None ? Json(nullptr) : Json(reasonText(frame))},
            {"events", events},
        });
    }
    return finished({{"frames", list}});
}

}  // namespace cli
