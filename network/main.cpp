// SPDX-License-Identifier: MIT
//
// mvrp-net: looks at a whole network, from the snapshots that `mvrpctl snapshot` took of its
// switches. Exit status 0; 1 when something was found; 2 for wrong usage or nothing to read.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "network/map/page.h"
#include "network/map/svg.h"
#include "network/plan_command.h"
#include "network/read/read.h"
#include "network/show/show.h"

namespace {

using network::Network;

enum ExitStatus : int { kFound = 1, kUsage = 2 };

/// Something that a person has to put right.
class Mistake : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Options {
    std::vector<std::string> paths;
    bool json = false;
    u32 vid = 0;
    std::string from;
    std::string to;
    std::string old;
    std::string output;  ///< a file
    network::PlanOptions plan;
};

/// Reads and joins. What could not be used is said on the standard error, a line each.
Network load(const std::vector<std::string>& paths) {
    network::Collection collection = network::readCollection(paths);
    Network result =
        network::joinNetwork(std::move(collection.switches), std::move(collection.problems));
    for (const std::string& problem : result.problems)
        std::cerr << "mvrp-net: " << problem << "\n";
    if (result.switches.empty())
        throw Mistake(
            "there is no snapshot to read; allowed are files that `mvrpctl snapshot` "
            "wrote, directories and tar archives of them");
    return result;
}

int topology(const Options& options) {
    const Network network = load(options.paths);
    std::cout << (options.json ? topologyJson(network)
                               : topologyText(network, cli::styleOfOutput()));
    return 0;
}

bool isSerious(const network::Finding& finding) {
    return finding.severity != network::Severity::Note;
}

int check(const Options& options) {
    const Network network = load(options.paths);
    const std::vector<network::Finding> findings = checkNetwork(network);
    std::cout << (options.json ? findingsJson(network, findings)
                               : findingsText(network, findings, cli::styleOfOutput()));
    return std::ranges::any_of(findings, isSerious) ? kFound : 0;
}

void requireSwitch(const Network& network, const std::string& name) {
    std::string known;
    for (const network::Switch& each : network.switches) {
        if (each.name == name)
            return;
        known += (known.empty() ? "" : ", ") + each.name;
    }
    throw Mistake("there is no switch '" + name + "'; allowed are " + known);
}

int explain(const Options& options) {
    if (options.from.empty() != options.to.empty())
        throw Mistake("--from and --to go together: a way has two ends");
    const Network network = load(options.paths);
    for (const std::string& name : {options.from, options.to})
        if (!name.empty())
            requireSwitch(network, name);
    const network::Explained explained{options.vid, wantedOn(network, options.vid),
                                       waysOf(network, options.vid, options.from, options.to)};
    std::cout << (options.json ? explainJson(network, explained)
                               : explainText(network, explained, cli::styleOfOutput()));
    return std::ranges::all_of(explained.ways, &network::Way::whole) ? 0 : kFound;
}

int diff(const Options& options) {
    const auto differences = compareNetworks(load({options.old}), load(options.paths));
    std::cout << (options.json ? differencesJson(differences)
                               : differencesText(differences, cli::styleOfOutput()));
    return differences.empty() ? 0 : kFound;
}

/// The file is there as a whole or not at all.
void writeWhole(const std::string& path, const std::string& content) {
    const std::string fresh = path + ".new";
    std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file || std::rename(fresh.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        std::remove(fresh.c_str());
        throw Mistake("'" + path + "' can not be written: " + reason);
    }
}

int map(const Options& options) {
    const bool page = options.output.ends_with(".html");
    if (!page && !options.output.ends_with(".svg"))
        throw Mistake("'" + options.output +
                      "' says nothing about its form; allowed are names that end in .html or .svg");
    const Network network = load(options.paths);
    const std::vector<network::Finding> findings = checkNetwork(network);
    const network::MapFacts facts = mapFacts(network, findings);
    const std::optional<u32> vid = options.vid == 0 ? std::nullopt : std::optional(options.vid);
    writeWhole(options.output,
               page ? mapPage(facts, vid ? vid : tellingVlan(facts)) : svgFile(facts, vid));
    return std::ranges::any_of(findings, isSerious) ? kFound : 0;
}

int plan(const Options& options) {
    const std::string picture = network::plan(load(options.paths), options.plan, options.json);
    if (!options.output.empty())
        writeWhole(options.output, picture);
    return 0;
}

using Run = int (*)(const Options&);

CLI::App* addSilent(CLI::App& app, Run& run, Run command, const char* name, const char* help) {
    CLI::App* const added = app.add_subcommand(name, help);
    added->set_help_flag("-h,--help", "print this");
    added->callback([&run, command] { run = command; });
    return added;
}

/// One that prints an answer.
CLI::App* addCommand(CLI::App& app, Options& options, Run& run, Run command, const char* name,
                     const char* help) {
    CLI::App* const added = addSilent(app, run, command, name, help);
    added->add_flag("-j,--json", options.json, "print JSON");
    return added;
}

void addPaths(CLI::App* command, Options& options) {
    command->add_option("snapshots", options.paths, "files, directories and tar archives")
        ->required()
        ->type_name("");
}

void addCommands(CLI::App& app, Options& options, Run& run) {
    addPaths(addCommand(app, options, run, topology, "topology",
                        "who is connected to whom, and how that is known"),
             options);
    addPaths(addCommand(app, options, run, check, "check",
                        "what is wrong in the network, worst first, and how to mend it"),
             options);
    CLI::App* const way = addCommand(app, options, run, explain, "explain",
                                     "the way of a VLAN hop by hop, and why it stops");
    way->add_option("vlan", options.vid, "VLAN ID")
        ->required()
        ->check(CLI::Range(platform::kFirstVlan, platform::kLastVlan))
        ->type_name("");
    addPaths(way, options);
    way->add_option("--from", options.from, "switch where the way begins; default: all ways")
        ->type_name("SWITCH");
    way->add_option("--to", options.to, "switch where it ends")->type_name("SWITCH");
    CLI::App* const picture = addSilent(app, run, map, "map",
                                        "draws the network with what is wrong in it, as a page of "
                                        "HTML or a picture");
    addPaths(picture, options);
    picture->add_option("-o,--output", options.output, "a name that ends in .html or .svg")
        ->required()
        ->type_name("FILE");
    picture->add_option("--vlan", options.vid, "what it shows, or opens on")
        ->check(CLI::Range(platform::kFirstVlan, platform::kLastVlan))
        ->type_name("VLAN");
    CLI::App* const change =
        addCommand(app, options, run, diff, "diff", "what changed between two collections");
    change->add_option("old", options.old, "file, directory or tar archive")
        ->required()
        ->type_name("");
    addPaths(change, options);
    CLI::App* const forecast =
        addCommand(app, options, run, plan, "plan",
                   "what a change would do, from the daemons themselves in virtual time");
    addPlanOptions(*forecast, options.plan);
    forecast->add_option("-o,--output", options.output, "draw the time into this SVG file, too")
        ->type_name("FILE");
    addPaths(forecast, options);
}

int runWith(int argc, char** argv) {
    CLI::App app{"Looks at a whole network, from what `mvrpctl snapshot` wrote on its switches.",
                 "mvrp-net"};
    app.set_help_flag("-h,--help", "print this");
    app.set_version_flag("--version", "mvrp-net " MVRP_VERSION, "print the version");
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 nothing found, 1 something found, 2 wrong usage or nothing to read.");
    Options options;
    Run run = nullptr;
    addCommands(app, options, run);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kUsage;
    }
    return run(options);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return runWith(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "mvrp-net: " << error.what() << "\n";
        return kUsage;
    }
}
