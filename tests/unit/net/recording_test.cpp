// SPDX-License-Identifier: MIT
//
// Recordings and replays: what may be opened for whom, and that a file that stands still costs
// frames of the recording and nothing else.
#include "platform/net/recording.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <array>
#include <fstream>
#include <iterator>

#include "platform/wire/pcap.h"
#include "tests/scratch_directory.h"

namespace platform::testing {
namespace {

class Recordings : public ::testing::Test {
  protected:
    std::unique_ptr<Recording> record(const std::string& path) {
        error_.clear();
        return Recording::open(NamedFile{path}, places_, error_);
    }
    void write(const std::string& name, const std::string& text) {
        std::ofstream(directory_.path(name)) << text;
    }
    std::string contents(const std::string& name) {
        std::ifstream file(directory_.path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    ScratchDirectory directory_;
    ScratchDirectory elsewhere_;
    const RequestPlaces places_{{directory_.path()}};
    std::string error_;
    const std::vector<u8> frame_ = std::vector<u8>(1000, 7);
};

TEST_F(Recordings, OfARequestReplaceAnEarlierRecordingAndNothingElse) {
    auto recording = record(directory_.path("r.pcap"));
    ASSERT_NE(recording, nullptr) << error_;
    recording->take(frame_, 5);
    recording->finish();
    const auto first = readPcap(directory_.path("r.pcap"), error_);
    ASSERT_TRUE(first) << error_;
    EXPECT_EQ(first->records.size(), 1U);
    recording = record(directory_.path("r.pcap"));
    ASSERT_NE(recording, nullptr) << error_;
    recording->finish();
    EXPECT_EQ(readPcap(directory_.path("r.pcap"), error_)->records.size(), 0U);

    write("ledger", "what the daemon keeps here");
    EXPECT_EQ(record(directory_.path("ledger")), nullptr);
    EXPECT_EQ(contents("ledger"), "what the daemon keeps here");
    write("empty", "");
    EXPECT_NE(record(directory_.path("empty")), nullptr) << error_;
}

TEST_F(Recordings, OfARequestLieInItsPlacesAndBehindNoLink) {
    EXPECT_EQ(record(elsewhere_.path("r.pcap")), nullptr);
    EXPECT_NE(error_.find(directory_.path()), std::string::npos) << error_;
    EXPECT_EQ(record("r.pcap"), nullptr);
    EXPECT_EQ(record(directory_.path("../r.pcap")), nullptr);
    EXPECT_EQ(record(directory_.path("")), nullptr);
    ASSERT_EQ(symlink(elsewhere_.path().c_str(), directory_.path("d").c_str()), 0);
    EXPECT_EQ(record(directory_.path("d/r.pcap")), nullptr);
    ASSERT_EQ(symlink(elsewhere_.path("new").c_str(), directory_.path("f").c_str()), 0);
    EXPECT_EQ(record(directory_.path("f")), nullptr);
    EXPECT_NE(access(elsewhere_.path("new").c_str(), F_OK), 0);
    ASSERT_EQ(mkdir(directory_.path("sub").c_str(), 0700), 0);
    EXPECT_NE(record(directory_.path("sub//r.pcap")), nullptr) << error_;
}

TEST_F(Recordings, OfARequestLeaveAloneWhatIsNoPlainFileOfTheDaemonsOwn) {
    ASSERT_EQ(mkfifo(directory_.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(record(directory_.path("fifo")), nullptr);
    write("one", "");
    ASSERT_EQ(link(directory_.path("one").c_str(), directory_.path("two").c_str()), 0);
    EXPECT_EQ(record(directory_.path("two")), nullptr);
    if (geteuid() != 0)
        return;
    write("others", "");
    ASSERT_EQ(chown(directory_.path("others").c_str(), 65534, 65534), 0);
    EXPECT_EQ(record(directory_.path("others")), nullptr);
    EXPECT_NE(error_.find("another user"), std::string::npos) << error_;
}

TEST_F(Recordings, AFifoOfTheConfigurationIsRefusedAtOnceForReadingAndWriting) {
    ASSERT_EQ(mkfifo(directory_.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(Recording::open(directory_.path("fifo"), error_), nullptr);
    EXPECT_FALSE(openReplay(directory_.path("fifo"), error_).isOpen());
    EXPECT_FALSE(openReplay(NamedFile{directory_.path("fifo")}, places_, error_).isOpen());
    EXPECT_NE(error_.find("regular file"), std::string::npos) << error_;
}

TEST_F(Recordings, AReaderThatStandsStillCostsFramesWhichAreCountedAndNoTime) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor reader(ends[0]);
    auto recording =
        Recording::open(NamedFile{"/home/me/r.pcap", Descriptor(ends[1])}, places_, error_);
    ASSERT_NE(recording, nullptr) << error_;
    ::testing::internal::CaptureStderr();
    constexpr u64 kFrames = 1000;  // 1 MB, more than the pipe and the ring hold together
    u64 refused = 0;
    for (u64 number = 0; number < kFrames; number++)
        refused += recording->take(frame_, number) ? 0 : 1;
    recording->finish();
    recording.reset();
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("frames are lost"), std::string::npos) << log;
    const auto at = log.find(" frames were lost");
    ASSERT_NE(at, std::string::npos) << log;
    const u64 lost = std::stoull(log.substr(log.rfind(' ', at - 1)));
    EXPECT_EQ(lost, refused);
    // Whoever reads now finds whole frames, all but those.
    std::vector<u8> bytes(kPcapFileHeaderBytes + kFrames * (kPcapRecordHeaderBytes + 1000));
    std::size_t received = 0;
    ssize_t count = 0;
    while ((count = read(reader.get(), bytes.data() + received, bytes.size() - received)) > 0)
        received += static_cast<std::size_t>(count);
    bytes.resize(received);
    const auto capture = parsePcap(std::move(bytes), error_);
    ASSERT_TRUE(capture) << error_;
    EXPECT_EQ(capture->records.size(), kFrames - lost);
}

TEST_F(Recordings, ADescriptorForReadingIsNotWrittenTo) {
    EXPECT_EQ(Recording::open(NamedFile{"x", Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC))},
                              places_, error_),
              nullptr);
    EXPECT_EQ(
        Recording::open(NamedFile{"x", Descriptor(open("/", O_PATH | O_CLOEXEC))}, places_, error_),
        nullptr);
}

TEST_F(Recordings, AFullFileEndsTheRecordingAndSaysSo) {
    auto recording = Recording::open(
        NamedFile{"x", Descriptor(open("/dev/full", O_WRONLY | O_CLOEXEC))}, places_, error_);
    ASSERT_NE(recording, nullptr) << error_;
    recording->finish();
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(recording->take(frame_, 1));
    EXPECT_FALSE(recording->take(frame_, 2));
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("recording to 'x' ends: No space left"), std::string::npos) << log;
}

TEST_F(Recordings, APassedReplayIsOfSealedMemory) {
    const auto memory = [this](unsigned seals) {
        Descriptor file(memfd_create("replay", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        const auto header = pcapFileHeader();
        EXPECT_EQ(::write(file.get(), header.data(), header.size()),
                  static_cast<ssize_t>(header.size()));
        EXPECT_EQ(fcntl(file.get(), F_ADD_SEALS, seals), 0);
        return openReplay(NamedFile{"/home/me/r.pcap", std::move(file)}, places_, error_);
    };
    EXPECT_FALSE(memory(F_SEAL_WRITE).isOpen());
    EXPECT_NE(error_.find("sealed memory"), std::string::npos) << error_;
    const Descriptor good = memory(F_SEAL_WRITE | F_SEAL_SHRINK);
    ASSERT_TRUE(good.isOpen()) << error_;
    EXPECT_TRUE(readPcap(good.get(), "r.pcap", error_)) << error_;
    write("plain", "x");
    EXPECT_FALSE(openReplay(NamedFile{"x", Descriptor(open(directory_.path("plain").c_str(),
                                                           O_RDONLY | O_CLOEXEC))},
                            places_, error_)
                     .isOpen());
}

}  // namespace
}  // namespace platform::testing
