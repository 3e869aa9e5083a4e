// SPDX-License-Identifier: MIT
#include "platform/config/fragments/config_documents.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/runtime/files/descriptor.h"

namespace platform {
namespace {

/// Reads files until there are as many bytes as are allowed for all of them.
class DocumentReader {
  public:
    /// @param fragment  how problems name it; empty: the main file
    void read(const std::string& path, const std::string& fragment) {
        std::string text;
        const std::string wrong = contents(path, text);
        if (!wrong.empty())
            read_.problems.push_back({ConfigPlace{}, wrong, fragment});
        room_ -= std::min(room_, text.size());
        read_.files.push_back({path, std::move(text)});
    }
    void refuse(const std::string& text, const std::string& file) {
        read_.problems.push_back({ConfigPlace{}, text, file});
    }
    ConfigDocuments take() { return std::move(read_); }

  private:
    static std::string failed(int error) {
        return std::string("can not be read: ") + std::strerror(error);
    }

    /// @return what is wrong; empty: nothing
    std::string contents(const std::string& path, std::string& text) const {
        // Whatever it is, nothing is waited for: a reload runs in the command task.
        const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        struct stat facts {};
        if (!file.isOpen() || fstat(file.get(), &facts) != 0)
            return failed(errno);
        if (!S_ISREG(facts.st_mode))
            return "can not be read: not a file (a FIFO, a device or a directory is none)";
        text.resize(room_ + 1);
        std::size_t length = 0;
        ssize_t count = 0;
        while (length < text.size() &&
               (count = ::read(file.get(), text.data() + length, text.size() - length)) > 0)
            length += static_cast<std::size_t>(count);
        const int error = errno;
        text.resize(length);
        if (count < 0)
            return failed(error);
        return text.size() <= room_ ? std::string()
                                    : "is larger than the " + std::to_string(kMaxConfigBytes) +
                                          " bytes allowed, with all fragments";
    }

    ConfigDocuments read_;
    std::size_t room_ = kMaxConfigBytes;
};

/// The paths of the fragments in byte order of their names; none where there is no directory.
/// @param error  receives an errno value, or 0
std::vector<std::string> fragmentsIn(const std::string& directory, int& error) {
    struct Close {
        void operator()(DIR* open) const { closedir(open); }
    };
    const std::unique_ptr<DIR, Close> open(opendir(directory.c_str()));
    error = open != nullptr || errno == ENOENT ? 0 : errno;
    std::vector<std::string> paths;
    if (open == nullptr)
        return paths;
    while (const dirent* entry = readdir(open.get())) {
        const std::string name = entry->d_name;
        if (!name.starts_with('.') && name.ends_with(kFragmentEnd))
            paths.push_back(directory + "/" + name);
    }
    std::ranges::sort(paths);
    return paths;
}

bool isTables(const ConfigValue& value) {
    return value.kind == ConfigKind::Array && !value.items.empty() &&
           std::ranges::all_of(
               value.items, [](const ConfigValue& item) { return item.kind == ConfigKind::Table; });
}

class Merge {
  public:
    Merge(std::span<const ConfigDocument> files, std::vector<ConfigProblem>& problems)
        : files_(files), problems_(problems) {}

    /// @param title  of the table, as a file writes it; empty: the file itself
    void tables(ConfigValue& into, ConfigValue more, const std::string& title) {
        for (ConfigEntry& entry : more.entries) {
            const auto there = std::ranges::find(into.entries, entry.key, &ConfigEntry::key);
            if (there == into.entries.end())
                into.entries.push_back(std::move(entry));
            else
                values(*there, std::move(entry), title);
        }
    }

  private:
    void values(ConfigEntry& into, ConfigEntry more, const std::string& title) {
        const bool tables = into.value.kind == ConfigKind::Table;
        if (tables && more.value.kind == ConfigKind::Table) {
            const std::string path = title.empty() ? into.key : title + "." + into.key;
            this->tables(into.value, std::move(more.value), path);
        } else if (isTables(into.value) && isTables(more.value)) {
            std::ranges::move(more.value.items, std::back_inserter(into.value.items));
        } else {
            const std::string name = (title.empty() ? "" : "[" + title + "] ") + into.key;
            problems_.push_back({more.place,
                                 name + " is set already in " + files_[into.place.file].path + ":" +
                                     std::to_string(into.place.line) +
                                     "; allowed: a setting in one of the files, and [[...]] in "
                                     "each",
                                 {}});
        }
    }

    std::span<const ConfigDocument> files_;
    std::vector<ConfigProblem>& problems_;
};

}  // namespace

std::string fragmentDirectory(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) +
           kFragmentDirectory;
}

std::string fragmentName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

ConfigDocuments readConfigDocuments(const std::string& path) {
    return readConfigDocuments(path, fragmentDirectory(path));
}

ConfigDocuments readConfigDocuments(const std::string& path, const std::string& directory) {
    DocumentReader reader;
    reader.read(path, {});
    int error = 0;
    const std::vector<std::string> fragments = fragmentsIn(directory, error);
    if (error != 0)
        reader.refuse(std::string("can not be read: ") + std::strerror(error), directory);
    if (fragments.size() > kMaxFragments)
        reader.refuse("has " + std::to_string(fragments.size()) + " fragments; allowed are " +
                          std::to_string(kMaxFragments),
                      directory);
    else
        for (const std::string& fragment : fragments)
            reader.read(fragment, fragment);
    return reader.take();
}

ConfigValue mergeConfigTrees(std::vector<ConfigValue> trees, std::span<const ConfigDocument> files,
                             std::vector<ConfigProblem>& problems) {
    ConfigValue all = std::move(trees.front());
    Merge merge(files, problems);
    for (ConfigValue& more : std::span(trees).subspan(1))
        merge.tables(all, std::move(more), {});
    return all;
}

}  // namespace platform
