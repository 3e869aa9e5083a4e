// SPDX-License-Identifier: MIT
//
// The forms that an answer can be printed in. JSON is what answers are made in; YAML and CSV are
// made from it, so that all three say the same under the same names.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cli {

enum class Format { Table, Json, Yaml, Csv };
/// By the value of Format: what -o takes.
inline constexpr std::array<std::string_view, 4> kFormatNames = {"table", "json", "yaml", "csv"};
inline constexpr const char* kFormatsAllowed = "table, json, yaml or csv";

std::optional<Format> formatOf(std::string_view name);

/// The format that the words of a command line ask for, also when it is wrong elsewhere; the first
/// that is found.
Format formatAskedFor(std::span<const std::string> words);

/// A JSON document in another form. Anything else stays as it is: metrics, scripts.
std::string inFormat(Format format, const std::string& text);

/// One document of YAML 1.2, which begins with "---" and so can follow another.
std::string yamlOf(const std::string& json);
/// The one list of an answer as rows, the answer's single values before each; an answer without
/// a list, or with more than that, as one row. Members of members are named "counters.framesIn",
/// lists in a row are written with blanks between. Without rows there is nothing, no heading
/// either.
std::string csvOf(const std::string& json);

}  // namespace cli
