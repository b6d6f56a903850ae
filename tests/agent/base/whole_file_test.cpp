#include "agent/base/whole_file.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/surroundings.h"

namespace ptp_agent {
namespace {

class WholeFile : public testing::Test {
  protected:
    std::size_t files() const {
        const std::filesystem::directory_iterator all(directory_.path());
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    test::TemporaryDirectory directory_;
    std::string path_ = directory_.path() + "/file";
};

TEST_F(WholeFile, HasWhatWasWrittenOfAnySizeAndTheMode) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{4096}, std::size_t{1} << 20}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>(i * 7);
        }
        ASSERT_EQ(write_file(path_, content, 0600), "");
        EXPECT_TRUE(read_file(path_) == content) << size;
    }
    struct stat found = {};
    ASSERT_EQ(stat(path_.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600u);
    EXPECT_EQ(files(), 1u);
}

TEST_F(WholeFile, ThatIsNotThereIsNothingWithTheReason) {
    errno = 0;
    EXPECT_EQ(read_file(path_), std::nullopt);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(read_file(directory_.path()), std::nullopt) << "a directory";
    EXPECT_EQ(errno, EISDIR);
}

TEST_F(WholeFile, StaysTheFormerOneWhenWritingFails) {
    ASSERT_EQ(write_file(path_, "former"), "");
    // As on a full disk: the write is cut short, and then fails.
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit small = before;
    small.rlim_cur = 5000;
    const auto handler = ::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string failure = write_file(path_, std::string(20'000, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, handler);
    EXPECT_EQ(failure, "cannot write " + path_ + ": File too large");
    EXPECT_EQ(read_file(path_), "former");
    EXPECT_EQ(files(), 1u) << "nothing half written is left";
    EXPECT_THAT(write_file(directory_.path() + "/none/file", "x"), testing::HasSubstr("No such file or directory"));
    ASSERT_EQ(mkdir((directory_.path() + "/place").c_str(), 0755), 0);
    EXPECT_THAT(write_file(directory_.path() + "/place", "x"), testing::HasSubstr("Is a directory"));
}

TEST_F(WholeFile, IsNotWrittenThroughALinkThatSomebodyPutThere) {
    const std::string victim = directory_.path() + "/victim";
    ASSERT_EQ(write_file(victim, "untouched"), "");
    ASSERT_EQ(symlink(victim.c_str(), (path_ + ".new").c_str()), 0);
    EXPECT_NE(write_file(path_, "content"), "");
    EXPECT_EQ(read_file(victim), "untouched");
    // The failure took the link away, so that the next attempt succeeds.
    EXPECT_EQ(write_file(path_, "content"), "");
    ASSERT_EQ(unlink(path_.c_str()), 0);
    ASSERT_EQ(symlink(victim.c_str(), path_.c_str()), 0);
    EXPECT_EQ(write_file(path_, "content"), "") << "a link at the place itself is replaced";
    EXPECT_EQ(read_file(victim), "untouched");
}

}  // namespace
}  // namespace ptp_agent
