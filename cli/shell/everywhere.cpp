// SPDX-License-Identifier: MIT
#include "cli/shell/everywhere.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <optional>
#include <string_view>

#include "cli/client/daemons.h"
#include "cli/print/json_document.h"
#include "cli/views/json.h"

namespace cli {

namespace {

enum ExitStatus : int { kDone = 0, kRefused = 1, kUsage = 2 };

/// Commands that go on until they are ended, or own the terminal.
constexpr std::array<std::string_view, 2> kFollowing = {"watch", "capture"};

/// What one daemon answered.
struct Answer {
    std::string name;  ///< of the switch; empty: it did not say
    std::string text;
    std::string error;  ///< empty: none
    int exitStatus = kDone;
};

template <typename Status>
void fail(Answer& answer, ExitStatus exitStatus, Status status, const std::string& text) {
    answer.exitStatus = exitStatus;
    answer.error = text;
    answer.text += errorJson(status, text);
}

Answer ask(const std::string& socket, const Line& line, Style style) {
    Answer answer;
    const bool json = line.format != Format::Table;
    try {
        Client client(socket, Client::Connect::Later);
        client.setPatience(line.patience);
        answer.name = queryGlobal(client).host.name.data();
        Context context(client, line.arguments, json ? Format::Json : Format::Table, style,
                        line.options);
        context.output = &answer.text;
        line.command->run(context);
        answer.exitStatus = context.exitStatus();
    } catch (const RefusedError& error) {
        fail(answer, kRefused, error.status, error.what());
    } catch (const UsageError& error) {
        fail(answer, kUsage, kWrongUsage, error.what());
    } catch (const ConnectionError& error) {
        fail(answer, kUsage, kNoConnection, error.what());
    }
    return answer;
}

void printText(const std::string& socket, const Answer& answer, Style style) {
    std::cout << style.paint(Colour::Strong,
                             "== " + (answer.name.empty() ? "" : answer.name + "  ") + socket)
              << "\n";
    if (answer.error.empty())
        std::cout << answer.text << std::flush;
    else
        std::cerr << "mvrpctl: " << answer.error << "\n";
}

Json jsonOf(const std::string& socket, const Answer& answer) {
    const Json parsed = Json::parse(answer.text, nullptr, false);
    return {{"socket", socket},
            {"name", answer.name.empty() ? Json() : Json(answer.name)},
            {"exitStatus", answer.exitStatus},
            // Metrics and scripts have a form of their own.
            {"answer", parsed.is_discarded() ? Json(answer.text) : parsed}};
}

}  // namespace

int runEverywhere(const Line& line, Style style) {
    if (std::ranges::find(kFollowing, line.command->path) != kFollowing.end())
        throw UsageError(std::string("`") + line.command->path +
                         "` follows one daemon; allowed is its --socket in place of --all");
    const std::vector<std::string> sockets = daemonSockets(line.socket);
    if (sockets.empty())
        throw ConnectionError("no daemon listens beside " + line.socket +
                              "; --socket or $MVRP_RUNTIME_DIR say which directory is meant");
    int exitStatus = kDone;
    Json answers = Json::array();
    for (const std::string& socket : sockets) {
        const Answer answer = ask(socket, line, style);
        exitStatus = std::max(exitStatus, answer.exitStatus);
        if (line.format == Format::Table)
            printText(socket, answer, style);
        else
            answers.push_back(jsonOf(socket, answer));
    }
    if (line.format != Format::Table)
        std::cout << inFormat(line.format, finished({{"daemons", answers}}));
    return exitStatus;
}

}  // namespace cli
