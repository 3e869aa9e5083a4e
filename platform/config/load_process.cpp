// SPDX-License-Identifier: MIT
//
// [process].
#include <pwd.h>

#include "platform/config/load_sections.h"

namespace platform {
namespace {

constexpr std::size_t kMaxUserName = 32;

}  // namespace

void loadProcess(ConfigReader& top, ProcessConfig& process) {
    auto table = top.table("process");
    if (!table)
        return;
    process.user = table->text("user", kMaxUserName).value_or("");
    if (!process.user.empty() && getpwnam(process.user.c_str()) == nullptr)
        table->refuse("user", "the name of a user of this system");
    process.keepRoot = table->boolean("keep-root").value_or(false);
    if (process.keepRoot && !process.user.empty())
        table->refuse("keep-root", "false, or no user");
    process.keepNetRaw = table->boolean("keep-net-raw").value_or(false);
    table->finish();
}

}  // namespace platform
