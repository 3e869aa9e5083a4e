// SPDX-License-Identifier: MIT
#include "cli/print/json_document.h"
#include "cli/support/entry.h"

namespace cli {

namespace {

Json listOf(const std::vector<Entry>& entries, bool written) {
    Json list = Json::array();
    for (const Entry& entry : entries)
        list.push_back({{"name", entry.name},
                        {"about", entry.about},
                        {"bytes", written ? Json(entry.content.size()) : Json(nullptr)},
                        {"problem", entry.problem.empty() ? Json(nullptr) : Json(entry.problem)}});
    return list;
}

}  // namespace

std::string manifestJson(const std::vector<Entry>& entries, bool masked) {
    return finished({{"masked", masked}, {"entries", listOf(entries, true)}});
}

std::string supportJson(const std::string& file, const std::vector<Entry>& entries) {
    return finished({{"file", file.empty() ? Json(nullptr) : Json(file)},
                     {"entries", listOf(entries, !file.empty())}});
}

}  // namespace cli
