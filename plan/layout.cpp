// SPDX-License-Identifier: MIT
#include "plan/layout.h"

#include <algorithm>
#include <numeric>

#include "platform/config/config_reader.h"
#include "platform/contract/management.h"
#include "platform/virtual/state/words.h"

namespace plan {
namespace {

using platform::ConfigKind;
using platform::ConfigProblem;
using platform::ConfigReader;
using platform::ConfigValue;

constexpr std::size_t kMostNameBytes = 64;
constexpr std::string_view kBetweenAllowed = "the names of two different switches of the file";

/// A timer of a topology file, which calls it as the configuration does, without "-time".
std::optional<u32> readTimer(ConfigReader& table, const MvrpSetting& setting) {
    std::string_view name = setting.name;
    name.remove_suffix(std::string_view("-time").size());
    return table.number(name, setting.least, setting.most, "ms");
}

Timers readTimers(ConfigReader& owner) {
    auto table = owner.table("timers");
    if (!table)
        return {};
    const Timers timers{readTimer(*table, kMvrpJoinTime), readTimer(*table, kMvrpLeaveTime),
                        readTimer(*table, kMvrpLeaveAllTime)};
    table->has("periodic");  // says nothing about how far a VLAN spreads
    table->finish();
    return timers;
}

void readSwitch(ConfigReader& table, Layout& layout) {
    table.require("name", "a name");
    const auto name = table.text("name", kMostNameBytes).value_or("");
    if (std::ranges::find(layout.names, name) != layout.names.end())
        table.problem("name", "there are two switches called \"" + name +
                                  "\"; allowed is a name of its own for each");
    layout.names.push_back(name);
    layout.staticVlans.push_back(table.vlans("vlans").value_or(platform::VlanBitmap{}));
    table.finish();
}

/// The number of the switch that `value` names.
std::optional<u32> switchNamed(const Layout& layout, const ConfigValue& value) {
    const auto found = value.kind == ConfigKind::Text ? std::ranges::find(layout.names, value.text)
                                                      : layout.names.end();
    if (found == layout.names.end())
        return std::nullopt;
    return static_cast<u32>(found - layout.names.begin());
}

void readCable(ConfigReader& table, Layout& layout) {
    Cable cable;
    cable.timers = readTimers(table);
    const bool isUp = table.boolean("up").value_or(true);
    table.has("wire_format");
    table.has("record");
    const ConfigValue* between = table.find("between");
    bool known = between != nullptr && between->kind == ConfigKind::Array &&
                 between->items.size() == cable.ends.size();
    for (std::size_t end = 0; known && end < cable.ends.size(); end++) {
        const auto number = switchNamed(layout, between->items[end]);
        known = number.has_value();
        cable.ends[end] = number.value_or(0);
    }
    if (!known || cable.ends[0] == cable.ends[1])
        table.refuse("between", kBetweenAllowed);
    else if (isUp)
        layout.cables.push_back(cable);
    table.finish();
}

/// "all", "none", or a list of names.
void readCorrections(ConfigReader& top, Layout& layout) {
    constexpr std::string_view kKey = "corrections";
    const ConfigValue* value = top.find(kKey);
    if (value == nullptr)
        return;
    std::vector<std::string> words;
    if (value->kind == ConfigKind::Text)
        words.push_back(value->text);
    if (value->kind == ConfigKind::Array)
        for (const ConfigValue& item : value->items)
            words.push_back(item.text);
    try {
        layout.corrections = scenario::correctionsOf(words);
    } catch (const scenario::UsageError& error) {
        top.problem(kKey, "corrections: " + std::string(error.what()));
    }
}

std::string firstProblem(std::string_view name, const ConfigProblem& problem) {
    std::string text(name);
    if (problem.place.line != 0)
        text += ":" + std::to_string(problem.place.line);
    return text + ": " + problem.text;
}

std::string timersProblem(const Timers& timers) {
    const u32 joinMs = timers.joinMs.value_or(kMvrpJoinTime.initial);
    const u32 leaveMs = timers.leaveMs.value_or(kMvrpLeaveTime.initial);
    const u32 leaveAllMs = timers.leaveAllMs.value_or(kMvrpLeaveAllTime.initial);
    if (leaveAllMs < leaveMs)
        return "a leave-all time of " + std::to_string(leaveAllMs) + " ms with a leave time of " +
               std::to_string(leaveMs) + " ms; allowed is the leave time at least";
    if (leaveMs >= kMvrpJoinsPerLeave * joinMs)
        return {};
    return "a leave time of " + std::to_string(leaveMs) + " ms with a join time of " +
           std::to_string(joinMs) + " ms; allowed is twice the join time at least";
}

/// The switch that stands for the part of the network that `node` is in.
u32 partOf(std::vector<u32>& parts, u32 node) {
    while (parts[node] != node)
        node = parts[node] = parts[parts[node]];
    return node;
}

}  // namespace

Timers Timers::over(const Timers& others) const {
    return {joinMs ? joinMs : others.joinMs, leaveMs ? leaveMs : others.leaveMs,
            leaveAllMs ? leaveAllMs : others.leaveAllMs};
}

Layout makeShape(Shape shape, u32 switches, u32 ports) {
    Layout layout;
    layout.leastPorts = ports;
    layout.staticVlans.resize(switches);
    for (u32 index = 0; index < switches; index++) {
        layout.names.push_back("s" + std::to_string(index + 1));
        if (index == 0)
            continue;
        // A tree's first switch has a cable less upwards than the others; it gets no more below.
        const u32 below = std::max(ports, 2U) - 1;
        const u32 above = shape == Shape::Line   ? index - 1
                          : shape == Shape::Star ? 0
                                                 : (index - 1) / below;
        layout.cables.push_back({{above, index}, {}});
    }
    return layout;
}

std::optional<Layout> parseTopology(std::string_view document, std::string_view name,
                                    LayoutError& error) {
    ConfigProblem problem;
    const auto tree = platform::parseConfigTree(document, problem);
    if (!tree) {
        error.text = firstProblem(name, problem);
        return std::nullopt;
    }
    Layout layout;
    std::vector<ConfigProblem> problems;
    ConfigReader top(*tree, "the file", problems);
    layout.timers = readTimers(top);
    readCorrections(top, layout);
    for (auto& table : top.tables("switch"))
        readSwitch(table, layout);
    for (auto& table : top.tables("cable"))
        readCable(table, layout);
    for (const std::string_view leftOut : {"title", "host", "step"})
        top.has(leftOut);
    top.finish();
    if (!problems.empty()) {
        error.text = firstProblem(name, problems.front());
        return std::nullopt;
    }
    return layout;
}

std::string layoutProblem(const Layout& layout) {
    const auto count = static_cast<u32>(layout.names.size());
    if (count < 2 || count > kMostSwitches)
        return std::to_string(count) + " switches; allowed are 2 to " +
               std::to_string(kMostSwitches);
    std::string problem = timersProblem(layout.timers);
    for (const Cable& cable : layout.cables)
        if (problem.empty())
            problem = timersProblem(cable.timers.over(layout.timers));
    if (!problem.empty())
        return problem;
    std::vector<u32> parts(count);
    std::iota(parts.begin(), parts.end(), 0);
    for (const Cable& cable : layout.cables) {
        const u32 first = partOf(parts, cable.ends[0]);
        const u32 second = partOf(parts, cable.ends[1]);
        if (first == second)
            return "the cable between " + layout.names[cable.ends[0]] + " and " +
                   layout.names[cable.ends[1]] +
                   " closes a ring; allowed is a tree: leave out the cable that spanning tree "
                   "blocks, or set its up = false";
        parts[second] = first;
    }
    if (layout.cables.size() + 1 != count)
        return "some switches have no way to the others; allowed is one network, all parts of "
               "which "
               "are connected";
    return {};
}

}  // namespace plan
