// SPDX-License-Identifier: MIT
#include <iostream>

#include "cli/support/mask.h"
#include "cli/support/support.h"

namespace cli {

namespace {

constexpr std::string_view kEnd = ".tar.zst";
constexpr const char* kManifest = "manifest.json";

bool isWanted(const Context& context, const Source& source) {
    return source.kind != SourceKind::Capture || context.has("capture");
}

/// What there would be, without asking anybody.
std::vector<Entry> listedEntries(const Context& context) {
    std::vector<Entry> entries;
    for (const Source& source : supportSources())
        if (isWanted(context, source))
            entries.push_back({std::string(source.name), std::string(source.about), {}, {}});
    return entries;
}

void mask(std::vector<Entry>& entries) {
    Masker masker;
    for (Entry& entry : entries) {
        entry.content = entry.name.ends_with(".pcap") ? masker.maskedCapture(entry.content)
                                                      : masker.masked(entry.content);
        entry.problem = masker.masked(entry.problem);
    }
}

std::vector<Entry> collectAll(const Context& context) {
    std::vector<Entry> entries;
    for (const Source& source : supportSources()) {
        if (!isWanted(context, source))
            continue;
        if (source.kind == SourceKind::Capture && !context.json)
            std::cerr << "capturing for 10 s\n";
        for (Entry& entry : collectEntries(context, source))
            entries.push_back(std::move(entry));
    }
    if (context.has("mask"))
        mask(entries);
    entries.push_back({kManifest, "this list", {}, {}});
    entries.back().content = manifestJson(entries, context.has("mask"));
    return entries;
}

std::string entriesText(const std::vector<Entry>& entries, bool written, const Style& style) {
    Table table(written ? std::vector<std::string>{"File", ">Bytes", "What"}
                        : std::vector<std::string>{"File", "What"});
    for (const Entry& entry : entries) {
        std::vector<Cell> row = {entry.name};
        if (written)
            row.emplace_back(std::to_string(entry.content.size()));
        row.push_back(entry.problem.empty()
                          ? Cell(entry.about)
                          : Cell(entry.problem.substr(0, entry.problem.find('\n')), Colour::Warn));
        table.add(std::move(row));
    }
    return table.print(style);
}

void support(const Context& context) {
    if (context.has("list") || context.count() == 0) {
        const std::vector<Entry> entries = listedEntries(context);
        if (!context.has("list"))
            throw UsageError("needed is a file to write, FILE.tar.zst; --list shows what goes in");
        return context.print(context.json ? supportJson({}, entries)
                                          : entriesText(entries, false, context.style));
    }
    const std::string& file = context.text(0);
    const std::size_t begin = file.rfind('/') + 1;
    if (!file.ends_with(kEnd) || file.size() - begin == kEnd.size())
        throw UsageError("'" + file + "' is not allowed here; allowed is FILE.tar.zst");
    const std::vector<Entry> entries = collectAll(context);
    writeArchive(file, file.substr(begin, file.size() - begin - kEnd.size()), entries);
    context.print(context.json ? supportJson(file, entries)
                               : entriesText(entries, true, context.style));
}

std::string supportDetails() {
    return "What can not be had is named, and the rest is written all the same, also without a\n"
           "daemon. With root's rights there is most. The file is its owner's alone; look into it\n"
           "before you give it away: tar --zstd -xf FILE.tar.zst. --mask replaces MAC, IPv4 and\n"
           "IPv6 addresses, the same one by the same everywhere; names stay.\n";
}

constexpr Command kCommands[] = {
    {"support",
     "one file with all that helps to find a fault: states, configuration, log, system",
     {{{"file", "the file to write, FILE.tar.zst", true}}},
     support,
     supportDetails,
     {{{"--list", nullptr, "only say what it contains"},
       {"--mask", nullptr, "replace addresses by others"},
       {"--capture", nullptr, "with 10 s of frames of the protocol"}}}},
};

}  // namespace

constinit const std::span<const Command> kSupportCommands = kCommands;

}  // namespace cli
