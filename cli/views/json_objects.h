// SPDX-License-Identifier: MIT
//
// Parts of JSON answers that more than one command gives: the shapes are those of json.h. Only for
// files that make answers, since the JSON library is slow to compile.
#pragma once

#include "cli/client/queries.h"
#include "cli/print/json_document.h"
#include "platform/channel/observations.h"

namespace cli {

/// The switch, as `show` tells it.
Json globalObject(const GlobalView& view);
/// A port, as `show ports` lists it.
Json portObject(const PortView& view);
/// The counters of a port, as `show statistics` lists them, without the port's name.
Json statisticsObject(const platform::PortStatisticsRecord& record);

}  // namespace cli
