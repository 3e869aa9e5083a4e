// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "cli/client/observed.h"
#include "cli/client/program.h"
#include "cli/client/safe_text.h"
#include "cli/commands/line_reader.h"
#include "cli/support/support.h"
#include "platform/config/load.h"
#include "platform/runtime/files/descriptor.h"

namespace cli {

namespace {

constexpr const char* kCaptureSeconds = "10";

constexpr Source kSources[] = {
    {"status.txt", SourceKind::Text, "status", "whether all is well, and what to do next"},
    {"doctor.json", SourceKind::Document, "doctor", "all findings"},
    {"snapshot.json", SourceKind::Document, "snapshot",
     "states, memberships, history, counters and neighbours at one moment"},
    {"log.txt", SourceKind::Text, "log", "the lines of the log that the daemon keeps"},
    {"config/", SourceKind::Settings, "", "the configuration file and its fragments"},
    {"config-running.toml", SourceKind::Text, "config show", "what runs, as a configuration file"},
    {"config-diff.json", SourceKind::Document, "config diff",
     "what runs and is not what the file says"},
    {"corrections.json", SourceKind::Document, "show corrections", "amendments that are in force"},
    {"metrics.txt", SourceKind::Text, "metrics", "all counters"},
    {"system/kernel.txt", SourceKind::Program, "uname -a", "the kernel"},
    {"system/os-release.txt", SourceKind::File, "/etc/os-release", "the system"},
    {"system/version.txt", SourceKind::Program, "mvrp --version", "the installed version"},
    {"system/service.txt", SourceKind::Program, "systemctl --no-pager status mvrp", "the service"},
    {"system/journal.txt", SourceKind::Program,
     "journalctl --no-pager -u mvrp -n 5000 -o short-iso", "its journal, as far as it is kept"},
    {"system/links.json", SourceKind::Program, "ip -j -d -s link show", "interfaces"},
    {"system/addresses.json", SourceKind::Program, "ip -j address show", "their addresses"},
    {"system/bridge-links.json", SourceKind::Program, "bridge -j -d link show", "bridge ports"},
    {"system/bridge-vlans.json", SourceKind::Program, "bridge -j vlan show", "VLANs of bridges"},
    {"system/bridge-fdb.json", SourceKind::Program, "bridge -j fdb show", "learnt stations"},
    {"system/bridge-mdb.json", SourceKind::Program, "bridge -j mdb show", "multicast groups"},
    {"system/qdiscs.json", SourceKind::Program, "tc -j qdisc show", "where guards are"},
    {"capture.pcap", SourceKind::Capture, "capture", "10 s of frames of the protocol"},
};

std::vector<std::string> wordsIn(std::string_view line) {
    std::istringstream stream{std::string(line)};
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string readFile(const std::string& file, std::string& problem) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        problem = std::strerror(errno);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Runs a command of mvrpctl. @return what it printed
std::string outputOfCommand(const Context& context, std::string_view line, Format format,
                            std::vector<std::string> arguments = {},
                            Context::Options options = {}) {
    std::string output;
    Context inner(context.client, std::move(arguments), format, {}, std::move(options));
    inner.output = &output;
    findCommand(std::string(line))->run(inner);
    return output;
}

/// Frames of ten seconds, by way of a file that nobody else sees.
std::string captured(const Context& context) {
    std::string file = "/tmp/mvrp-support-XXXXXX";
    const platform::Descriptor made(mkstemp(file.data()));
    if (!made.isOpen())
        throw std::system_error(errno, std::generic_category(), file);
    std::string problem;
    try {
        outputOfCommand(context, "capture", Format::Json, {file}, {{"seconds", kCaptureSeconds}});
    } catch (...) {
        unlink(file.c_str());
        throw;
    }
    std::string content = readFile(file, problem);
    unlink(file.c_str());
    return content;
}

std::string contentOf(const Context& context, const Source& source, std::string& problem) {
    switch (source.kind) {
        case SourceKind::Text:
            return outputOfCommand(context, source.from, Format::Table);
        case SourceKind::Document:
            return outputOfCommand(context, source.from, Format::Json);
        case SourceKind::Program:
            return outputOfProgram({.words = wordsIn(source.from), .mistakesToo = true}, problem);
        case SourceKind::File:
            return readFile(std::string(source.from), problem);
        case SourceKind::Capture:
            return captured(context);
        case SourceKind::Settings:
            break;
    }
    return {};
}

/// The daemon's file under config/, and each fragment under config/conf.d/.
std::vector<Entry> settingsOf(const Context& context, const Source& source) {
    const Reply reply = context.client.exchange({platform::Request::ConfigSource});
    throwIfRefused(reply);
    const std::string file = textOf(reply);
    std::vector<Entry> entries;
    if (file.empty())
        return entries;
    const platform::ConfigDocuments documents = platform::readConfigDocuments(file);
    for (const auto& [path, text] : documents.files) {
        const std::string folder =
            entries.empty() ? "" : std::string(platform::kFragmentDirectory) + "/";
        entries.push_back({std::string(source.name) + folder + platform::fragmentName(path),
                           std::string(source.about), text});
    }
    for (const platform::ConfigProblem& problem : documents.problems)
        entries.front().problem += platform::formatProblem(file, problem) + " ";
    return entries;
}

}  // namespace

std::span<const Source> supportSources() {
    return kSources;
}

std::vector<Entry> collectEntries(const Context& context, const Source& source) {
    Entry entry{std::string(source.name), std::string(source.about), {}, {}};
    try {
        if (source.kind == SourceKind::Settings)
            return settingsOf(context, source);
        entry.content = contentOf(context, source, entry.problem);
    } catch (const std::exception& failure) {  // one that fails costs no other
        entry.problem = failure.what();
    }
    return {entry};
}

}  // namespace cli
