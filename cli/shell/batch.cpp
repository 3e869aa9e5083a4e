// SPDX-License-Identifier: MIT
#include "cli/shell/batch.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "cli/commands/undo.h"
#include "cli/shell/split.h"
#include "cli/views/json.h"

namespace cli {

namespace {

enum ExitStatus : int { kRefused = 1, kUsage = 2 };

struct Step {
    u32 number;  ///< of the line in its file, from 1
    Line line;
};

/// One batch at work.
class Batch {
  public:
    Batch(const Line& batch, const Program& program)
        : batch_(batch), program_(program), client_(batch.socket, Client::Connect::Later) {
        client_.setPatience(batch.patience);
    }

    void read(const std::vector<std::string>& options, std::istream& stream) {
        u32 number = 0;
        for (std::string text; std::getline(stream, text);)
            add(options, text, ++number);
    }

    void run() {
        for (const Step& step : steps_) {
            try {
                runStep(step);
            } catch (const RefusedError& error) {
                fail(step, error.what(), kRefused, error.status);
            } catch (const UsageError& error) {
                fail(step, error.what(), kUsage, 0, kWrongUsage);
            } catch (const ConnectionError& error) {
                fail(step, error.what(), kUsage, 0, kNoConnection);
            }
        }
    }

  private:
    std::string at(u32 number) const {
        const std::string file = batch_.batch == "-" ? "standard input" : batch_.batch;
        return file + ":" + std::to_string(number) + ": ";
    }

    [[noreturn]] void mistake(u32 number, const std::string& text) const {
        throw BatchError(at(number) + text + "; nothing was run", kUsage, 0, kWrongUsage);
    }

    void add(const std::vector<std::string>& options, const std::string& text, u32 number) {
        const SplitLine split = splitLine(text);
        if (split.openQuote)
            mistake(number, "a quotation mark has no second one");
        if (split.words.empty())
            return;
        std::vector<std::string> words = options;
        words.insert(words.end(), split.words.begin(), split.words.end());
        Step step{number, {}};
        const Reading reading = program_.read(words, step.line);
        if (reading.outcome == Reading::Outcome::Mistake)
            mistake(number, reading.text);
        if (reading.outcome == Reading::Outcome::Printed || !step.line.batch.empty())
            mistake(number, "help, the version and batches have no place in a batch");
        if (batch_.atomic)
            checkAtomic(step);
        steps_.push_back(std::move(step));
    }

    void checkAtomic(const Step& step) const {
        const std::string command = "`" + std::string(step.line.command->path) + "`";
        if (reachOf(*step.line.command) == Reach::Stays)
            mistake(step.number, command +
                                     " can not be put back, and so not be part of --atomic; "
                                     "allowed are " +
                                     atomicCommands());
        if (step.line.socket != batch_.socket || step.line.all)
            mistake(step.number, "--atomic is for one daemon; allowed is its --socket before it");
    }

    void runStep(const Step& step) {
        std::vector<Request> undo;
        if (batch_.atomic) {
            const Context context(client_, step.line.arguments, Format::Table, {},
                                  step.line.options);
            undo = undoOf(*step.line.command, context);
        }
        const int status = runLine(step.line);
        undos_.push_back({step.number, std::move(undo)});
        if (status != 0)
            throw RefusedError(kStatusFailed, "`" + std::string(step.line.command->path) +
                                                  "` ended with exit status " +
                                                  std::to_string(status));
    }

    int runLine(const Line& line) {
        if (line.socket == batch_.socket && !line.all)
            return program_.run(line, client_);
        Client client(line.socket, Client::Connect::Later);
        client.setPatience(line.patience);
        return program_.run(line, client);
    }

    [[noreturn]] void fail(const Step& step, const std::string& why, ExitStatus exitStatus,
                           u32 status, std::string_view name = {}) {
        throw BatchError(at(step.number) + why + (batch_.atomic ? takeBack() : ""), exitStatus,
                         status, name);
    }

    /// @return what became of it, for the end of the message
    std::string takeBack() {
        std::string problems;
        for (; !undos_.empty(); undos_.pop_back()) {
            const auto& undo = undos_.back();
            try {
                const std::string problem = putBack(client_, undo.requests);
                if (!problem.empty())
                    problems += "; line " + std::to_string(undo.number) +
                                " could not be put back: " + problem;
            } catch (const ConnectionError& error) {
                return "; what was set before could not be put back: " + std::string(error.what());
            }
        }
        return problems.empty() ? "; what was set before is put back" : problems;
    }

    struct Done {
        u32 number;
        std::vector<Request> requests;
    };

    const Line& batch_;
    const Program& program_;
    Client client_;
    std::vector<Step> steps_;
    std::vector<Done> undos_;
};

}  // namespace

void runBatch(const std::vector<std::string>& options, const Line& batch, const Program& program) {
    Batch work(batch, program);
    if (batch.batch == "-") {
        work.read(options, std::cin);
    } else {
        std::ifstream file(batch.batch);
        if (!file)
            throw UsageError("cannot read " + batch.batch + ": " + std::strerror(errno) +
                             "; allowed is a file with a command a line, or - for the standard "
                             "input");
        work.read(options, file);
    }
    work.run();
}

}  // namespace cli
