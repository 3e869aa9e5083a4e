// SPDX-License-Identifier: MIT
#include "plan/report.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace plan {
namespace {

constexpr double kMsPerSecond = 1000.0;
constexpr double kBytesPerKib = 1024.0;

double perPort(u64 count, const Measurement& result) {
    return static_cast<double>(count) / result.ports;
}

/// Of what one switch takes of the process: the engine's own records are in it.
double processKibPerSwitch(const Measurement& result) {
    return static_cast<double>(result.processBytes) / kBytesPerKib / result.switches;
}

std::string line(const char* format, auto... values) {
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return std::string(text.data()) + "\n";
}

std::string phaseLine(const char* title, const Phase& phase, const Measurement& result) {
    const Traffic& traffic = phase.traffic;
    return line("%-8s %12.3f %12llu %12.1f %12llu %14.0f %14llu%s", title,
                static_cast<double>(phase.ms) / kMsPerSecond,
                static_cast<unsigned long long>(traffic.frames), perPort(traffic.frames, result),
                static_cast<unsigned long long>(traffic.mostFrames), perPort(traffic.bytes, result),
                static_cast<unsigned long long>(traffic.mostBytes),
                phase.ended ? "" : "  has not ended by then");
}

nlohmann::ordered_json phaseJson(const Phase& phase, const Measurement& result) {
    const Traffic& traffic = phase.traffic;
    return {{"ended", phase.ended},
            {"ms", phase.ms},
            {"frames", traffic.frames},
            {"bytes", traffic.bytes},
            {"framesPerPort", perPort(traffic.frames, result)},
            {"bytesPerPort", perPort(traffic.bytes, result)},
            {"mostFramesOfAPort", traffic.mostFrames},
            {"mostBytesOfAPort", traffic.mostBytes}};
}

}  // namespace

std::string stageText(Stage stage, const Measurement& result) {
    switch (stage) {
        case Stage::Begun:
            return line("%u switches, %u ports with MVRP, %u switches on the longest way",
                        result.switches, result.ports, result.diameter) +
                   line("%u VLANs on %s, at an end of it\n", result.vlans, result.origin.c_str()) +
                   line("%-8s %12s %12s %12s %12s %14s %14s", "phase", "seconds", "frames",
                        "per port", "most of one", "bytes per port", "most of one");
        case Stage::Joined:
            return phaseLine("join", result.join, result);
        case Stage::Rested:
            return phaseLine("at rest", result.rest.value(), result);
        case Stage::Left:
            return phaseLine("leave", result.leave, result) +
                   line("\nmemory of a daemon %.0f KiB; of the simulation %.0f KiB a switch",
                        static_cast<double>(result.daemonBytes) / kBytesPerKib,
                        processKibPerSwitch(result));
    }
    return {};
}

std::string reportJson(const Measurement& result) {
    nlohmann::ordered_json json = {{"version", kJsonVersion}, {"switches", result.switches},
                                   {"ports", result.ports},   {"diameter", result.diameter},
                                   {"vlans", result.vlans},   {"origin", result.origin}};
    json["join"] = phaseJson(result.join, result);
    if (result.rest)
        json["rest"] = phaseJson(*result.rest, result);
    else
        json["rest"] = nullptr;
    json["leave"] = phaseJson(result.leave, result);
    json["memory"] = {{"daemonBytes", result.daemonBytes}, {"processBytes", result.processBytes}};
    return json.dump(2) + "\n";
}

}  // namespace plan
