// SPDX-License-Identifier: MIT
#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

#include "cli/client/queries.h"
#include "cli/support/entry.h"
#include "platform/runtime/files/descriptor.h"

namespace cli {

namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

struct FreeArchive {
    void operator()(archive* writer) const { archive_write_free(writer); }
};
struct FreeEntry {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

class ArchiveFile {
  public:
    explicit ArchiveFile(const std::string& file)
        : file_(file),
          descriptor_(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly)),
          writer_(archive_write_new()) {
        if (!descriptor_.isOpen())
            fail(errno, std::string(std::strerror(errno)) +
                            (errno == EEXIST ? "; allowed is a new file" : ""));
        check(archive_write_set_format_pax_restricted(writer_.get()));
        check(archive_write_add_filter_zstd(writer_.get()));
        check(archive_write_open_fd(writer_.get(), descriptor_.get()));
    }

    void add(const std::string& name, const std::string& content) {
        const std::unique_ptr<archive_entry, FreeEntry> entry(archive_entry_new());
        archive_entry_set_pathname(entry.get(), name.c_str());
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), kOwnerOnly);
        archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
        check(archive_write_header(writer_.get(), entry.get()));
        if (archive_write_data(writer_.get(), content.data(), content.size()) < 0)
            check(ARCHIVE_FATAL);
    }

    void finish() { check(archive_write_close(writer_.get())); }

  private:
    void check(int result) {
        if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
            unlink(file_.c_str());
            const char* text = archive_error_string(writer_.get());
            fail(EIO, text == nullptr ? "the archive can not be written" : text);
        }
    }
    [[noreturn]] void fail(int error, const std::string& text) const {
        throw RefusedError(static_cast<u32>(error), "cannot write " + file_ + ": " + text);
    }

    std::string file_;
    platform::Descriptor descriptor_;
    std::unique_ptr<archive, FreeArchive> writer_;
};

}  // namespace

void writeArchive(const std::string& file, const std::string& top,
                  const std::vector<Entry>& entries) {
    ArchiveFile archive(file);
    for (const Entry& entry : entries)
        archive.add(top + "/" + entry.name, entry.content);
    archive.finish();
}

}  // namespace cli
