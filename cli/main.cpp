// SPDX-License-Identifier: MIT
//
// mvrpctl: looks at and changes a running mvrp through its command channel.
//
// Exit status: 0 done; 1 the daemon refused, or what was asked about does not hold; 2 a mistake in
// the command line, or no connection.
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/help/help.h"
#include "cli/views/json.h"

namespace {

enum ExitStatus : int { kRefused = 1, kUsage = 2 };

/// @param status  of the daemon, or a name for a failure of our own
template <typename Status>
int fail(const cli::Line& line, Status status, const std::string& message, ExitStatus exitStatus) {
    if (line.format != cli::Format::Table)
        std::cout << cli::inFormat(line.format, cli::errorJson(status, message));
    std::cerr << "mvrpctl: " << message << "\n";
    return exitStatus;
}

cli::Style styleOfOutput() {
    if (isatty(STDOUT_FILENO) != 1)
        return {};
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    const char* noColour = std::getenv("NO_COLOR");
    return {noColour == nullptr || *noColour == '\0', known ? size.ws_col : 0U};
}

int run(const cli::Line& line) {
    try {
        cli::Client client(line.socket, cli::Client::Connect::Later);
        client.setPatience(line.patience);
        const cli::Context context(client, line.arguments, line.format, styleOfOutput(),
                                   line.options);
        line.command->run(context);
        return context.exitStatus();
    } catch (const cli::RefusedError& error) {
        return fail(line, error.status, error.what(), kRefused);
    } catch (const cli::UsageError& error) {
        return fail(line, cli::kWrongUsage, error.what(), kUsage);
    } catch (const cli::ConnectionError& error) {
        return fail(line, cli::kNoConnection, error.what(), kUsage);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        if (!words.empty() && cli::kCompleteWord == words.front()) {
            for (const auto& [word, help] : cli::completeLine(std::span(words).subspan(1)))
                std::cout << word << (help.empty() ? "" : "\t") << help << "\n";
            return 0;
        }
        cli::Line line;
        int exitStatus = 0;
        if (!cli::CommandLine().parse(words, line, exitStatus))
            return exitStatus;
        return run(line);
    } catch (const std::exception& error) {
        std::cerr << "mvrpctl: " << error.what() << "\n";
        return kUsage;
    }
}
