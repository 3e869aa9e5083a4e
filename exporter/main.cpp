// SPDX-License-Identifier: MIT
//
// The program `mvrp-exporter`: serves the counters of a daemon by HTTP. The daemon starts it where
// its configuration says [metrics] listen; nothing that a client of HTTP does reaches the daemon
// but the questions that mvrpctl asks too. Exit status: 0 when it was told to end; 1 when it could
// not serve; 2 for a wrong command line.
#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "exporter/endpoint.h"
#include "platform/host/privileges.h"
#include "platform/runtime/log.h"

namespace {

using platform::logMessage;
using platform::LogPriority;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kLookMs = 1000;

struct Arguments {
    std::string listen;
    std::string socket = cli::defaultSocketPath();
    bool untilInputEnds = false;
};

int parse(int argc, char** argv, Arguments& arguments) {
    CLI::App app("Serves what mvrpctl metrics prints by HTTP, at /metrics", "mvrp-exporter");
    app.set_version_flag("--version", "mvrp-exporter " MVRP_VERSION);
    app.add_option("--listen", arguments.listen, "Where: " + std::string(platform::kTcpAddressForm))
        ->type_name("ADDRESS:PORT")
        ->required();
    app.add_option("--socket", arguments.socket, "Command socket of the daemon")->type_name("PATH");
    app.add_flag("--until-input-ends", arguments.untilInputEnds,
                 "End when the standard input does, as that of a daemon that started it");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }
    return -1;
}

/// Whether whoever started this has closed its end of our standard input. Waits kLookMs at most.
bool inputEnded() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char byte = 0;
    return poll(&input, 1, kLookMs) > 0 && read(STDIN_FILENO, &byte, 1) <= 0;
}

int serve(const Arguments& arguments) {
    const auto address = platform::parseTcpAddress(arguments.listen);
    if (!address) {
        std::fprintf(stderr, "mvrp-exporter: --listen %s: allowed: %s\n", arguments.listen.c_str(),
                     std::string(platform::kTcpAddressForm).c_str());
        return kExitUsage;
    }
    std::string error;
    if (!platform::dropPrivileges({}, error))
        throw std::runtime_error(error);
    exporter::DaemonSource source(arguments.socket);
    exporter::Endpoint endpoint(exporter::listenAt(*address), [&source](cli::MetricsFormat format) {
        return source.answer(format);
    });
    logMessage(LogPriority::Notice, "metrics are served at http://%s/metrics",
               arguments.listen.c_str());
    for (;;) {
        if (!arguments.untilInputEnds)
            poll(nullptr, 0, kLookMs);
        else if (inputEnded())
            return 0;
        endpoint.endSlowClients();
    }
}

int run(int argc, char** argv) {
    Arguments arguments;
    if (const int status = parse(argc, argv, arguments); status >= 0)
        return status;
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return serve(arguments);
    } catch (const std::exception& failure) {
        logMessage(LogPriority::Error, "metrics: %s: %s", arguments.listen.c_str(), failure.what());
        return kExitFailed;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        logMessage(LogPriority::Error, "metrics: %s", failure.what());
        return kExitFailed;
    }
}
