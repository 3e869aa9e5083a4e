// SPDX-License-Identifier: MIT
#include "tests/scenario/lang/runner.h"

#include <istream>

#include "platform/virtual/calls/facts.h"
#include "tests/scenario/lang/commands.h"

namespace scenario {
namespace {

std::string joined(Words words) {
    std::string text;
    for (const auto& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

}  // namespace

std::string runScenario(std::istream& input, Trace::Sink sink, Lookups lookups) {
    ScenarioHost host(std::move(sink));
    host.hidesLookups = lookups.hidden;
    if (lookups.shown)
        host.facts = std::make_shared<ShownFacts>();
    ScenarioHost* const before = bindScenarioHost(&host);
    resetDaemon(host);
    std::string error;
    std::string line;
    for (u64 number = 1; error.empty() && std::getline(input, line); number++) {
        const auto words = splitWords(line);
        if (words.empty())
            continue;
        host.trace.echo(joined(words));
        try {
            runCommand(host, words);
        } catch (const UsageError& problem) {
            error = "line " + std::to_string(number) + ": " + problem.what();
        }
    }
    resetDaemon(host);
    bindScenarioHost(before);
    return error;
}

}  // namespace scenario
