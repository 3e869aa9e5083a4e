// SPDX-License-Identifier: MIT
#include "network/map/svg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "network/map/resources.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

std::string px(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", value);
    return text.data();
}

std::string attribute(const char* name, const std::string& value) {
    return " " + std::string(name) + "=\"" + escapeXml(value) + "\"";
}

std::string element(const char* name, const std::string& attributes, const std::string& content) {
    return "<" + std::string(name) + attributes + ">" + content + "</" + name + ">";
}

std::string titleOf(const std::string& text) {
    return element("title", "", escapeXml(text));
}

std::string lineOf(Place from, Place to, const std::string& name) {
    return element("line",
                   attribute("class", name) + attribute("x1", px(from.x)) +
                       attribute("y1", px(from.y)) + attribute("x2", px(to.x)) +
                       attribute("y2", px(to.y)),
                   "");
}

/// A cross where a VLAN stops; it is seen for VLANs that do.
std::string crossAt(Place at) {
    constexpr double kArm = 6;
    return element(
        "path",
        attribute("class", "cross") +
            attribute("d", "M" + px(at.x - kArm) + " " + px(at.y - kArm) + "l12 12m0 -12l-12 12"),
        "");
}

std::string cableOf(const MapFacts& facts, const Drawing& drawing, std::size_t i,
                    std::optional<u32> vid) {
    const auto& [a, b] = drawing.cables[i];
    const Place middle{(a.x + b.x) / 2, (a.y + b.y) / 2};
    const CableVlans& cable = facts.cables[i];
    const Cable& known = facts.network.cables[i];
    const bool stops = vid && platform::vlanContains(cable.stops, *vid);
    return element("g",
                   attribute("class", std::string("cable") + (stops ? " stops" : "") +
                                          (known.evidence.isSure() ? "" : " unsure")) +
                       attribute("data-cable", std::to_string(i)),
                   titleOf(nameOf(facts.network, known)) +
                       lineOf(a, middle, std::string("half ") + kindOf(cable, 0, vid)) +
                       lineOf(b, middle, std::string("half ") + kindOf(cable, 1, vid)) +
                       crossAt(middle));
}

/// Both forms are there, and the class says which is seen.
std::string nodeOf(const Drawing& drawing, Place at) {
    const double radius = drawing.radius;
    return element("rect",
                   attribute("x", px(at.x - radius)) + attribute("y", px(at.y - radius)) +
                       attribute("width", px(2 * radius)) + attribute("height", px(2 * radius)) +
                       attribute("rx", "2"),
                   "") +
           element(
               "circle",
               attribute("cx", px(at.x)) + attribute("cy", px(at.y)) + attribute("r", px(radius)),
               "");
}

std::string strangersOf(const MapFacts& facts, const Drawing& drawing, std::size_t i) {
    if (facts.strangers[i].empty())
        return {};
    std::string text = "neighbours without a snapshot:";
    for (const Stranger* const each : facts.strangers[i])
        text += " " + facts.network.portOf(each->port).name + " " + macText(each->mac);
    const Place at = drawing.strangers[i];
    return element(
        "g", attribute("class", "stranger"),
        titleOf(text) + lineOf(drawing.switches[i], at, "lead") +
            element("path", attribute("d", "M" + px(at.x - 6) + " " + px(at.y + 5) + "h12l-6 -11z"),
                    ""));
}

std::string switchOf(const MapFacts& facts, const Drawing& drawing, std::size_t i,
                     std::optional<u32> vid) {
    const Label& label = drawing.labels[i];
    const std::string& name = facts.network.switches[i].name;
    return strangersOf(facts, drawing, i) +
           element("g",
                   attribute("class", std::string("node ") + kindOf(facts.switches[i], vid)) +
                       attribute("data-switch", std::to_string(i)),
                   titleOf(name) + nodeOf(drawing, drawing.switches[i]) +
                       element("text",
                               attribute("x", px(label.at.x)) +
                                   attribute("y", px(label.at.y + drawing.fontSize * 0.36)) +
                                   attribute("text-anchor", label.anchor) +
                                   attribute("font-size", px(drawing.fontSize)),
                               escapeXml(label.text)));
}

std::string markOf(const MapFacts& facts, const Drawing& drawing, std::size_t i,
                   std::optional<u32> vid) {
    constexpr std::array kSeverities = {"note", "warning", "error"};
    constexpr double kHalf = 8;
    const Mark& mark = facts.marks[i];
    const Place at = drawing.marks[i];
    const std::size_t worst = mark.findings.front();
    const bool here = std::ranges::any_of(
        mark.findings, [&](std::size_t each) { return concerns(facts.findings[each], vid); });
    const bool more = mark.findings.size() > 1;
    const double half = kHalf + (more || worst >= 99 ? 4 : 0);
    const std::string severity =
        kSeverities.at(static_cast<std::size_t>(facts.findings[worst].severity));
    return element(
        "g",
        attribute("class", "mark " + severity + (here ? "" : " aside")) +
            attribute("data-mark", std::to_string(i)),
        titleOf(facts.findings[worst].text) +
            element("rect",
                    attribute("x", px(at.x - half)) + attribute("y", px(at.y - kHalf)) +
                        attribute("width", px(2 * half)) + attribute("height", px(2 * kHalf)) +
                        attribute("rx", severity == "error" ? "2" : "8"),
                    "") +
            element("text",
                    attribute("x", px(at.x)) + attribute("y", px(at.y + 4)) +
                        attribute("text-anchor", "middle"),
                    std::to_string(worst + 1) + (more ? "+" : "")));
}

template <typename Draw>
std::string allOf(std::size_t count, Draw draw) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += draw(i) + "\n";
    return text;
}

std::string contentOf(const MapFacts& facts, const Drawing& drawing, std::optional<u32> vid) {
    return allOf(facts.cables.size(),
                 [&](std::size_t i) { return cableOf(facts, drawing, i, vid); }) +
           allOf(facts.switches.size(),
                 [&](std::size_t i) { return switchOf(facts, drawing, i, vid); }) +
           allOf(facts.marks.size(), [&](std::size_t i) { return markOf(facts, drawing, i, vid); });
}

std::string sizeOf(const Drawing& drawing) {
    return attribute("viewBox", "0 0 " + px(drawing.width) + " " + px(drawing.height));
}

}  // namespace

std::string escapeXml(const std::string& text) {
    std::string safe;
    for (const char each : text) {
        switch (each) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            case '"':
                safe += "&quot;";
                break;
            case '\'':
                safe += "&#39;";
                break;
            default:
                safe += each;
        }
    }
    return safe;
}

std::string svgPicture(const MapFacts& facts, const Drawing& drawing, std::optional<u32> vid,
                       const std::string& name) {
    return element("svg",
                   attribute("class", "map " + name) + sizeOf(drawing) + attribute("role", "img") +
                       attribute("aria-label", "The switches and their cables"),
                   "\n" + contentOf(facts, drawing, vid));
}

std::string svgFile(const MapFacts& facts, std::optional<u32> vid) {
    const Drawing drawing = drawingOf(facts, placesOf(facts.network), wideRoom(facts.network));
    const std::string about = vid ? "VLAN " + std::to_string(*vid) : "All VLANs";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
           element("svg",
                   " xmlns=\"http://www.w3.org/2000/svg\"" + attribute("class", "map") +
                       sizeOf(drawing) + attribute("width", px(drawing.width)) +
                       attribute("height", px(drawing.height)),
                   "\n" + titleOf(about) + element("style", "", kPictureStyle) +
                       "<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n" +
                       element("text", attribute("x", "12") + attribute("y", "20"), about) + "\n" +
                       contentOf(facts, drawing, vid)) +
           "\n";
}

std::vector<Place> placesOf(const Network& network) {
    Adjacency neighbours(network.switches.size());
    for (const Cable& cable : network.cables) {
        if (cable.a.of == cable.b.of)
            continue;
        neighbours[cable.a.of].push_back(cable.b.of);
        neighbours[cable.b.of].push_back(cable.a.of);
    }
    return placesOf(neighbours);
}

Room wideRoom(const Network& network) {
    const auto count = static_cast<double>(network.switches.size());
    return {1134, std::min(240 + 24 * count, 620 + 2 * count)};
}

Room narrowRoom(const Network& network) {
    const auto count = static_cast<double>(network.switches.size());
    return {440, std::min(200 + 40 * count, 1000 + 4 * count)};
}

}  // namespace network
