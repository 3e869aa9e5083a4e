// SPDX-License-Identifier: MIT
//
// mvrpctl: looks at and changes a running mvrp through its command channel.
//
// Exit status: 0 done; 1 the daemon refused, or what was asked about does not hold; 2 a mistake in
// the command line, or no connection.
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands/network_namespace.h"
#include "cli/help/help.h"
#include "cli/shell/batch.h"
#include "cli/shell/everywhere.h"
#include "cli/shell/shell.h"
#include "cli/views/json.h"

namespace {

using Words = std::vector<std::string>;

enum ExitStatus : int { kRefused = 1, kUsage = 2 };

/// @param status  of the daemon, or a name for a failure of our own
template <typename Status>
int fail(cli::Format format, Status status, const std::string& message, int exitStatus) {
    if (format != cli::Format::Table)
        std::cout << cli::inFormat(format, cli::errorJson(status, message));
    std::cerr << "mvrpctl: " << message << "\n";
    return exitStatus;
}

cli::Reading readWords(const Words& words, cli::Line& line) {
    return cli::CommandLine(cli::Alone::Mistake).parse(words, line);
}

int runCommand(const cli::Line& line, cli::Client& client) {
    if (line.all)
        return runEverywhere(line, cli::styleOfOutput());
    const cli::Context context(client, line.arguments, line.format, cli::styleOfOutput(),
                               line.options);
    line.command->run(context);
    return context.exitStatus();
}

/// The options of a line, for the lines of its shell or batch.
Words optionsOf(const cli::Line& line) {
    Words words = {"--socket", line.socket, "--patience", std::to_string(line.patience)};
    if (line.format != cli::Format::Table) {
        words.emplace_back("--output");
        words.emplace_back(cli::kFormatNames.at(static_cast<std::size_t>(line.format)));
    }
    if (line.all)
        words.emplace_back("--all");
    return words;
}

int runWords(const Words& words, cli::Alone alone);

int runShellLine(const Words& words) {
    return runWords(words, cli::Alone::Mistake);
}

int runLine(const cli::Line& line) {
    if (!line.netns.empty())
        cli::enterNetworkNamespace(line.netns);
    if (line.command != nullptr) {
        cli::Client client(line.socket, cli::Client::Connect::Later);
        client.setPatience(line.patience);
        return runCommand(line, client);
    }
    if (line.batch.empty())
        return cli::runShell(optionsOf(line), line, cli::styleOfOutput(), runShellLine);
    runBatch(optionsOf(line), line, {readWords, runCommand});
    return 0;
}

/// Runs what a command line says, and says what came of it.
int runWords(const Words& words, cli::Alone alone) {
    cli::Line line;
    const cli::Reading reading = cli::CommandLine(alone).parse(words, line);
    if (reading.outcome == cli::Reading::Outcome::Printed) {
        std::cout << reading.text;
        return 0;
    }
    if (reading.outcome == cli::Reading::Outcome::Mistake) {
        fail(cli::formatAskedFor(words), cli::kWrongUsage, reading.text, kUsage);
        std::cerr << reading.usage;
        return kUsage;
    }
    try {
        return runLine(line);
    } catch (const cli::BatchError& error) {
        return error.name.empty() ? fail(line.format, error.status, error.what(), error.exitStatus)
                                  : fail(line.format, error.name, error.what(), error.exitStatus);
    } catch (const cli::RefusedError& error) {
        return fail(line.format, error.status, error.what(), kRefused);
    } catch (const cli::UsageError& error) {
        return fail(line.format, cli::kWrongUsage, error.what(), kUsage);
    } catch (const cli::ConnectionError& error) {
        return fail(line.format, cli::kNoConnection, error.what(), kUsage);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Words words(argv + 1, argv + argc);
        if (!words.empty() && cli::kCompleteWord == words.front()) {
            for (const auto& [word, help] : cli::completeLine(std::span(words).subspan(1)))
                std::cout << word << (help.empty() ? "" : "\t") << help << "\n";
            return 0;
        }
        const bool isTerminal = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
        return runWords(words, isTerminal ? cli::Alone::Shell : cli::Alone::Mistake);
    } catch (const std::exception& error) {
        std::cerr << "mvrpctl: " << error.what() << "\n";
        return kUsage;
    }
}
