// SPDX-License-Identifier: MIT
#include "cli/views/json.h"
#include "cli/config/running_config.h"
#include "cli/print/json_document.h"

namespace cli {

std::string differencesJson(const std::string& file,
                            const std::vector<ConfigDifference>& differences) {
    Json list = Json::array();
    for (const ConfigDifference& difference : differences) {
        list.push_back({
            {"name", difference.port.empty() ? Json(nullptr) : Json(difference.port)},
            {"setting", difference.setting},
            {"file", difference.file},
            {"running", difference.running},
        });
    }
    return finished({{"file", file}, {"differences", list}});
}

std::string fileJson(const std::string& file) {
    return finished({{"file", file}, {"valid", true}});
}

std::string changesJson(const std::vector<std::string>& changes) {
    return finished({{"changes", changes}});
}

}  // namespace cli
