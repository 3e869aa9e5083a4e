// SPDX-License-Identifier: MIT
//
// mvrp-plan: how long VLANs take to spread through a network and to leave it, and what that costs,
// before there is such a network. Exit status 0; 1 when a phase did not come to its end; 2 for
// wrong arguments or a wrong file.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>

#include "plan/report.h"
#include "platform/contract/management.h"
#include "platform/virtual/state/words.h"

namespace {

using plan::Layout;
using plan::Shape;

/// Where the script lies that draws, from the folder above that of the program.
constexpr std::string_view kPlotScript = "share/mvrp/plot_plan.py";

enum ExitStatus : int { kNotEnded = 1, kUsage = 2 };

/// Something that a person has to put right.
class Mistake : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Options {
    std::string file;
    std::string shape;  ///< empty: a file
    u32 switches = 10;
    u32 ports = 0;
    plan::Request request;
    plan::Timers timers;
    std::string corrections;  ///< empty: what the file says, or none
    std::string plot;
    bool json = false;
};

Shape shapeNamed(std::string_view name) {
    return name == "line" ? Shape::Line : name == "star" ? Shape::Star : Shape::Tree;
}

/// Only ways without a ring are planned; spanning tree makes one of every network.
Layout shapeOf(const Options& options, u32 switches) {
    if (shapeNamed(options.shape) == Shape::Tree && options.ports < plan::kLeastTreePorts)
        throw Mistake(
            "--shape tree needs --ports N, as many cables as a switch has: one up and the "
            "others down; allowed are " +
            std::to_string(plan::kLeastTreePorts) + " to " + std::to_string(plan::kMostPorts) +
            " (with fewer it is a line)");
    return plan::makeShape(shapeNamed(options.shape), switches, options.ports);
}

Layout readLayout(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw Mistake(name +
                      ": can not be read; allowed is a topology file, as ./dev lab takes it");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    plan::LayoutError error;
    auto layout = plan::parseTopology(text, name, error);
    if (!layout)
        throw Mistake(error.text);
    return *layout;
}

void watchNothing(plan::Stage /*stage*/, const plan::Measurement& /*result*/) {}

void printStage(plan::Stage stage, const plan::Measurement& result) {
    std::cout << stageText(stage, result) << std::flush;
}

plan::Measurement measureLayout(Layout layout, const plan::Request& request,
                                const plan::Timers& timers,
                                const plan::Watcher& watch = watchNothing) {
    layout.timers = timers.over(layout.timers);
    if (request.corrections)
        layout.corrections = request.corrections;
    for (auto& cable : layout.cables)
        cable.timers = timers.over(cable.timers);
    const std::string problem = plan::layoutProblem(layout);
    if (!problem.empty())
        throw Mistake(problem);
    const u32 free = plan::freeVlans(layout);
    if (request.vlans > free)
        throw Mistake("--vlans " + std::to_string(request.vlans) + ": allowed are 1 to " +
                      std::to_string(free) + ", as many as are static on no switch");
    return plan::measure(layout, request, watch);
}

/// Lets the script beside the program draw: it runs this program in several sizes. Checked first,
/// so that nobody waits for a picture that can not be made. Only returns by an exception.
[[noreturn]] void plot(std::span<char*> arguments) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    const auto script = program.parent_path().parent_path() / kPlotScript;
    std::vector<std::string> words = {"python3", script, program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> values;
    values.reserve(words.size() + 1);
    for (std::string& word : words)
        values.push_back(word.data());
    values.push_back(nullptr);
    ::execvp(values.front(), values.data());
    throw Mistake(
        "--plot draws with python3 and matplotlib, and there is no python3; allowed: install them "
        "(Debian and Ubuntu: apt-get install python3-matplotlib), or leave --plot out");
}

void addOptions(CLI::App& app, Options& options) {
    const auto within = [](const MvrpSetting& setting) {
        return CLI::Range(setting.least, setting.most);
    };
    const auto help = [](const char* what, const MvrpSetting& setting, const char* more = "") {
        return std::string(what) + ", " + std::to_string(setting.least) + " to " +
               std::to_string(setting.most) + " ms" + more +
               "; default: " + std::to_string(setting.initial) + ".";
    };
    auto* file = app.add_option("FILE", options.file, "Topology file of the lab.");
    auto* shape = app.add_option("--shape", options.shape, "line, star or tree, instead of a file.")
                      ->check(CLI::IsMember({"line", "star", "tree"}))
                      ->type_name("SHAPE")
                      ->excludes(file);
    app.add_option("--switches", options.switches, "Switches of the shape, 2 to 1000; default: 10.")
        ->check(CLI::Range(2U, plan::kMostSwitches))
        ->type_name("N")
        ->needs(shape);
    app.add_option("--ports", options.ports,
                   "Ports with MVRP of each switch, 2 to 48; default: one for each cable. A tree"
                   " needs it, 3 at least.")
        ->check(CLI::Range(2U, plan::kMostPorts))
        ->type_name("N")
        ->needs(shape);
    app.add_option("--vlans", options.request.vlans, "VLANs to spread, 1 to 4093; default: 1.")
        ->check(CLI::Range(1U, plan::kMostVlans))
        ->type_name("N");
    app.add_option("--join", options.timers.joinMs, help("Join time", kMvrpJoinTime))
        ->check(within(kMvrpJoinTime))
        ->type_name("MS");
    app.add_option("--leave", options.timers.leaveMs,
                   help("Leave time", kMvrpLeaveTime, ", twice the join time at least"))
        ->check(within(kMvrpLeaveTime))
        ->type_name("MS");
    app.add_option("--leave-all", options.timers.leaveAllMs,
                   help("Leave-all time", kMvrpLeaveAllTime))
        ->check(within(kMvrpLeaveAllTime))
        ->type_name("MS");
    app.add_option("--delay", options.request.delayMs, "Of each cable, 0 to 1000 ms; default: 1.")
        ->check(CLI::Range(0U, 1000U))
        ->type_name("MS");
    app.add_option("--rest", options.request.restMs,
                   "Time at rest that is counted, 0 to 3600000 ms; default: the leave-all time.")
        ->check(CLI::Range(0U, 3'600'000U))
        ->type_name("MS");
    app.add_option("--corrections", options.corrections,
                   "Of all daemons: all, none, or names separated by commas; default: what the"
                   " file says, or none.")
        ->type_name("all|none|NAME,...");
    app.add_option("--plot", options.plot,
                   "Draw times and traffic against sizes of the shape: .svg, .png or .pdf; needs"
                   " matplotlib.")
        ->type_name("FILE")
        ->needs(shape);
    app.add_flag("-j,--json", options.json, "Print JSON.");
    app.set_version_flag("--version", "mvrp-plan " MVRP_VERSION, "Print the version.");
}

int run(const Options& options) {
    if (options.shape.empty() && options.file.empty())
        throw Mistake(
            "what is to be planned? allowed: a topology file, or --shape line, star or tree");
    const Layout layout =
        options.shape.empty() ? readLayout(options.file) : shapeOf(options, options.switches);
    const auto result = measureLayout(layout, options.request, options.timers,
                                      options.json ? watchNothing : printStage);
    if (options.json)
        std::cout << reportJson(result);
    return result.join.ended && result.leave.ended ? 0 : kNotEnded;
}

int planWith(int count, char** values) {
    CLI::App app(
        "Measures in virtual time how long VLANs take to spread through a network of mvrp "
        "switches and to leave it, and how many frames that takes.",
        "mvrp-plan");
    Options options;
    try {
        addOptions(app, options);
        app.parse(count, values);
        if (!options.corrections.empty())
            options.request.corrections = scenario::correctionsOf(options.corrections);
    } catch (const CLI::Success& asked) {  // help, or the version
        return app.exit(asked);
    } catch (const scenario::UsageError& error) {
        throw Mistake("--corrections: " + std::string(error.what()));
    } catch (const CLI::Error& error) {
        throw Mistake(std::string(error.what()) + "\nmvrp-plan --help says what is allowed");
    }
    if (!options.plot.empty())
        plot(std::span(values, static_cast<std::size_t>(count)).subspan(1));
    return run(options);
}

}  // namespace

int main(int count, char** values) {
    try {
        return planWith(count, values);
    } catch (const std::exception& error) {
        std::cerr << "mvrp-plan: " << error.what() << "\n";
        return kUsage;
    }
}
