// SPDX-License-Identifier: MIT
//
// [metrics].
#include "platform/config/load_sections.h"
#include "platform/model/tcp_address.h"

namespace platform {
namespace {

constexpr std::size_t kMostAddressText = 64;

}  // namespace

void loadMetrics(ConfigReader& top, std::string& listen) {
    auto table = top.table("metrics");
    if (!table)
        return;
    listen = table->text("listen", kMostAddressText, 0).value_or("");
    if (!listen.empty() && !parseTcpAddress(listen))
        table->refuse("listen", kTcpAddressForm);
    table->finish();
}

}  // namespace platform
