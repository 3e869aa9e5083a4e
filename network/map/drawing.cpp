// SPDX-License-Identifier: MIT
#include "network/map/drawing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace network {

namespace {

constexpr double kMargin = 44;
constexpr double kLongestCable = 150;
constexpr double kSkew = 1.7;  ///< how much longer a cable is in one direction than in the other
constexpr double kLetterWidth = 0.62;  ///< of the size of the letters, for the widest usual fonts
constexpr std::size_t kLongestName = 16;

struct Box {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;

    double overlap(const Box& other) const {
        const double wide = std::min(right, other.right) - std::max(left, other.left);
        const double high = std::min(bottom, other.bottom) - std::max(top, other.top);
        return wide > 0 && high > 0 ? wide * high : 0;
    }
};

Box boxAround(Place middle, double radius) {
    return {middle.x - radius, middle.y - radius, middle.x + radius, middle.y + radius};
}

struct Span {
    double first = std::numeric_limits<double>::max();
    double last = std::numeric_limits<double>::lowest();

    void take(double value) {
        first = std::min(first, value);
        last = std::max(last, value);
    }
    double length() const { return last - first; }
};

/// px for the length of a cable.
double scaleFor(double length, double span) {
    return span <= 0 ? kLongestCable : std::min(length / span, kLongestCable);
}

struct Scale {
    double x = 1;
    double y = 1;
    double smaller() const { return std::min(x, y); }
};

Scale scaleOf(const Span& x, const Span& y, Room room) {
    Scale scale{scaleFor(room.width - 2 * kMargin, x.length()),
                scaleFor(room.height - 2 * kMargin, y.length())};
    return {std::min(scale.x, kSkew * scale.y), std::min(scale.y, kSkew * scale.x)};
}

std::vector<Place> uprightOf(std::vector<Place> places) {
    for (Place& place : places)
        std::swap(place.x, place.y);
    return places;
}

std::pair<Span, Span> spansOf(const std::vector<Place>& places) {
    std::pair<Span, Span> spans;
    for (const Place& place : places) {
        spans.first.take(place.x);
        spans.second.take(place.y);
    }
    return spans;
}

/// Puts the switches into the room, level or upright, whichever makes them larger.
void placeSwitches(Drawing& drawing, std::vector<Place> places, Room room) {
    constexpr double kRadiusShare = 0.24;
    constexpr double kLargest = 14;
    constexpr double kSmallest = 5;
    const auto scaled = [room](const std::vector<Place>& each) {
        const auto [x, y] = spansOf(each);
        return scaleOf(x, y, room);
    };
    if (std::vector<Place> upright = uprightOf(places);
        scaled(upright).smaller() > 1.05 * scaled(places).smaller())
        places = std::move(upright);
    const auto [x, y] = spansOf(places);
    const Scale scale = scaled(places);
    drawing.width = room.width;
    drawing.height = 2 * kMargin + std::max(0.0, y.length()) * scale.y;
    drawing.radius = std::clamp(kRadiusShare * scale.smaller(), kSmallest, kLargest);
    drawing.fontSize = std::clamp(drawing.radius, 9.5, 12.0);
    const double indent = (room.width - std::max(0.0, x.length()) * scale.x) / 2;
    for (const Place& place : places)
        drawing.switches.push_back(
            {indent + (place.x - x.first) * scale.x, kMargin + (place.y - y.first) * scale.y});
}

Place between(Place a, Place b, double share) {
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

/// Two or more cables between the same switches stand beside each other.
void placeCables(Drawing& drawing, const Network& network) {
    constexpr double kApart = 7;
    std::map<std::pair<std::size_t, std::size_t>, std::vector<std::size_t>> parallel;
    for (std::size_t i = 0; i < network.cables.size(); ++i)
        parallel[{network.cables[i].a.of, network.cables[i].b.of}].push_back(i);
    drawing.cables.resize(network.cables.size());
    for (const auto& [ends, cables] : parallel) {
        const Place a = drawing.switches[ends.first];
        const Place b = drawing.switches[ends.second];
        const double length = std::max(std::hypot(b.x - a.x, b.y - a.y), 1.0);
        for (std::size_t i = 0; i < cables.size(); ++i) {
            const double aside =
                kApart * (static_cast<double>(i) - static_cast<double>(cables.size() - 1) / 2);
            const Place shift{-(b.y - a.y) / length * aside, (b.x - a.x) / length * aside};
            drawing.cables[cables[i]] = {Place{a.x + shift.x, a.y + shift.y},
                                         Place{b.x + shift.x, b.y + shift.y}};
        }
    }
}

/// A mark of a cable stands near the end that it is about.
void placeMarks(Drawing& drawing, const MapFacts& facts) {
    constexpr double kFromEnd = 0.3;
    constexpr double kCorner = 0.9;
    for (const Mark& mark : facts.marks) {
        if (mark.end) {
            const auto& [a, b] = drawing.cables[mark.at];
            drawing.marks.push_back(between(a, b, *mark.end == 0 ? kFromEnd : 1 - kFromEnd));
        } else {
            const Place at = drawing.switches[mark.at];
            drawing.marks.push_back(
                {at.x + kCorner * drawing.radius, at.y - kCorner * drawing.radius});
        }
    }
}

void placeStrangers(Drawing& drawing) {
    for (const Place& at : drawing.switches)
        drawing.strangers.push_back({at.x - drawing.radius - 7, at.y + drawing.radius + 7});
}

/// The first letters of a name, whole ones of UTF-8.
std::string cutName(const std::string& name) {
    std::size_t letters = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool begins = (static_cast<unsigned char>(name[i]) & 0xC0U) != 0x80U;
        if (begins && ++letters > kLongestName)
            return name.substr(0, i) + "…";
    }
    return name;
}

std::size_t lettersOf(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char each) { return (static_cast<unsigned char>(each) & 0xC0U) != 0x80U; }));
}

/// How much of a line, in px, lies in a box; counted in steps of some px.
double lengthInside(const Box& box, const std::array<Place, 2>& line) {
    constexpr double kStep = 4;
    if (std::max(line[0].x, line[1].x) < box.left || std::min(line[0].x, line[1].x) > box.right ||
        std::max(line[0].y, line[1].y) < box.top || std::min(line[0].y, line[1].y) > box.bottom)
        return 0;
    const double length = std::hypot(line[1].x - line[0].x, line[1].y - line[0].y);
    const int steps = std::max(1, static_cast<int>(length / kStep));
    double inside = 0;
    for (int i = 0; i <= steps; ++i) {
        const Place at = between(line[0], line[1], static_cast<double>(i) / steps);
        if (at.x >= box.left && at.x <= box.right && at.y >= box.top && at.y <= box.bottom)
            inside += kStep;
    }
    return inside;
}

/// Finds places for names one after another, each where it covers least.
class Labels {
  public:
    explicit Labels(Drawing& drawing) : drawing_(drawing) {
        for (const Place& at : drawing.switches)
            taken_.push_back(boxAround(at, drawing.radius));
        for (const Place& at : drawing.marks)
            taken_.push_back(boxAround(at, kMarkRadius));
    }

    void add(Place at, const std::string& name) {
        Label best;
        Box room;
        double least = std::numeric_limits<double>::max();
        for (const auto& [x, y] : kWays) {
            const Label label = labelAt(at, cutName(name), x, y);
            const Box box = boxOf(label);
            if (const double cost = costOf(box); cost < least) {
                least = cost;
                best = label;
                room = box;
            }
        }
        taken_.push_back(room);
        drawing_.labels.push_back(best);
    }

  private:
    static constexpr double kMarkRadius = 8;
    static constexpr std::array<std::pair<int, int>, 8> kWays = {
        {{0, 1}, {0, -1}, {1, 0}, {-1, 0}, {1, 1}, {-1, 1}, {1, -1}, {-1, -1}}};

    Label labelAt(Place at, std::string text, int x, int y) const {
        constexpr double kGap = 4;
        const double aside = (drawing_.radius + kGap) * (x != 0 && y != 0 ? 0.75 : 1);
        const double line = y == 0 ? 0 : drawing_.fontSize / 2;
        return {std::move(text),
                {at.x + x * aside, at.y + y * (aside + line)},
                x == 0  ? "middle"
                : x > 0 ? "start"
                        : "end"};
    }

    Box boxOf(const Label& label) const {
        const double wide =
            static_cast<double>(lettersOf(label.text)) * drawing_.fontSize * kLetterWidth;
        const double left = label.anchor[0] == 'm'   ? label.at.x - wide / 2
                            : label.anchor[0] == 's' ? label.at.x
                                                     : label.at.x - wide;
        return {left, label.at.y - drawing_.fontSize / 2, left + wide,
                label.at.y + drawing_.fontSize / 2};
    }

    double costOf(const Box& box) const {
        constexpr double kOutside = 1e6;
        constexpr double kOnLine = 6;  // of a px of a cable, beside a square px of something else
        if (box.left < 0 || box.top < 0 || box.right > drawing_.width ||
            box.bottom > drawing_.height)
            return kOutside;
        double cost = 0;
        for (const Box& other : taken_)
            cost += box.overlap(other);
        for (const auto& cable : drawing_.cables)
            cost += kOnLine * lengthInside(box, cable);
        return cost;
    }

    Drawing& drawing_;
    std::vector<Box> taken_;
};

}  // namespace

Drawing drawingOf(const MapFacts& facts, const std::vector<Place>& places, Room room) {
    Drawing drawing;
    placeSwitches(drawing, places, room);
    placeCables(drawing, facts.network);
    placeMarks(drawing, facts);
    placeStrangers(drawing);
    Labels labels(drawing);
    for (std::size_t i = 0; i < places.size(); ++i)
        labels.add(drawing.switches[i], facts.network.switches[i].name);
    return drawing;
}

}  // namespace network
