// Processes that share type information: what each creates and destroys is counted for all.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

/** Free under valgrind and the sanitizers too. */
void *const agreed = reinterpret_cast<void *>(0x60000000);
constexpr size_t room = 64 * 1024;

enum class command : char { make, open, create, destroy, address };

/** What a worker does; the answer is an error word, or for `address` where the type pointer of an instance points. */
class workshop {
  public:
    explicit workshop(std::string path) : path_(std::move(path)) {}

    u_int64 obey(command what) {
        u_int32 err = 0;
        switch (what) {
            case command::make:
                types_ = vela_shared_types_create(path_.c_str(), agreed, room, &err, nullptr, 0);
                return err != 0 ? err : make_handle();
            case command::open:
                types_ = vela_shared_types_open(path_.c_str(), agreed, &err, nullptr, 0);
                return err != 0 ? err : make_handle();
            case command::create:
                clocks_.push_back(ptp_clock_create(handle_, mem_class));
                return clocks_.back() == nullptr || !notified_ ? VELA_EINVAL : 0;
            case command::destroy:
                ptp_clock_destroy(handle_, mem_class, clocks_.back());
                clocks_.pop_back();
                return notified_ ? 0 : VELA_EINVAL;
            case command::address:
                return reinterpret_cast<uintptr_t>(header(clocks_.back()).type_info);
        }
        return VELA_EINVAL;
    }

  private:
    /** Each counter that goes up is announced, and lies in the shared file. */
    static void before_count(void *cookie, void *counter, size_t length, u_int32) {
        const char *place = static_cast<char *>(counter);
        const char *first = static_cast<char *>(agreed);
        static_cast<workshop *>(cookie)->notified_ = place >= first && place < first + room && length == 1;
    }
    u_int32 make_handle() {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.shared_types = types_;
        options.pre_write_counter = before_count;
        options.cookie = this;
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        return err;
    }

    std::string path_;
    vela_shared_types *types_ = nullptr;
    vela_handle *handle_ = nullptr;
    std::vector<ptp_clock *> clocks_;
    bool notified_ = false;
};

/** A process with a workshop of its own. */
class worker {
  public:
    explicit worker(const std::string &path) {
        EXPECT_EQ(pipe(to_child_), 0);
        EXPECT_EQ(pipe(from_child_), 0);
        pid_ = fork();
        if (pid_ == 0) {
            alarm(30);
            workshop shop(path);
            command what;
            while (read(to_child_[0], &what, sizeof what) == sizeof what) {
                const u_int64 answer = shop.obey(what);
                if (write(from_child_[1], &answer, sizeof answer) != sizeof answer) {
                    break;
                }
            }
            _exit(0);
        }
    }
    ~worker() {
        kill();
        for (const int fd : {to_child_[0], to_child_[1], from_child_[0], from_child_[1]}) {
            close(fd);
        }
    }
    worker(const worker &) = delete;
    worker &operator=(const worker &) = delete;

    u_int64 tell(command what) const {
        u_int64 answer = ~u_int64{0};
        EXPECT_EQ(write(to_child_[1], &what, sizeof what), 1);
        EXPECT_EQ(read(from_child_[0], &answer, sizeof answer), ssize_t{sizeof answer});
        return answer;
    }
    void kill() {
        if (pid_ <= 0) {
            return;
        }
        ::kill(pid_, SIGKILL);
        waitpid(std::exchange(pid_, 0), nullptr, 0);
    }

  private:
    int to_child_[2] = {-1, -1};
    int from_child_[2] = {-1, -1};
    pid_t pid_ = 0;
};

class SharedTypes : public testing::Test {
  protected:
    SharedTypes() {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        path = folder + "/types";
    }
    ~SharedTypes() override {
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
    /** Created and destroyed, all variants together, by the name of the type. */
    std::map<std::string, std::pair<u_int64, u_int64>> counts() const {
        std::map<std::string, std::pair<u_int64, u_int64>> result;
        u_int32 err = 0;
        char reason[200] = "";
        vela_shared_types *types = vela_shared_types_read(path.c_str(), &err, reason, sizeof reason);
        EXPECT_NE(types, nullptr) << reason;
        if (types == nullptr) {
            return result;
        }
        vela_type_counts_each(
            types,
            [](void *cookie, const vela_type_counts *row) {
                auto &sums = (*static_cast<decltype(result) *>(cookie))[row->type_name];
                sums.first += row->created;
                sums.second += row->destroyed;
            },
            &result);
        vela_shared_types_close(types);
        return result;
    }
    std::string folder = "/tmp/ptp-types-XXXXXX";
    std::string path;
};

using created_destroyed = std::pair<u_int64, u_int64>;

TEST_F(SharedTypes, TwoProcessesCountInOnePlaceAndOneMayDie) {
    worker first(path);
    worker second(path);
    worker third(path);
    EXPECT_EQ(second.tell(command::open), u_int64{VELA_ENOENT});
    ASSERT_EQ(first.tell(command::make), 0u);
    ASSERT_EQ(second.tell(command::open), 0u);
    EXPECT_EQ(counts().size(), ptp_cfg_type_count());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(first.tell(command::create), 0u);
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(second.tell(command::create), 0u);
    }
    EXPECT_EQ(second.tell(command::destroy), 0u);
    EXPECT_EQ(counts()["ptp_clock"], created_destroyed(5, 1));
    EXPECT_EQ(counts()["ptp_clock_default_ds"], created_destroyed(5, 1)) << "embedded instances count too";
    EXPECT_EQ(first.tell(command::address), second.tell(command::address));

    first.kill();
    EXPECT_EQ(second.tell(command::create), 0u);
    ASSERT_EQ(third.tell(command::open), 0u);
    EXPECT_EQ(third.tell(command::create), 0u);
    EXPECT_EQ(third.tell(command::destroy), 0u);
    EXPECT_EQ(counts()["ptp_clock"], created_destroyed(7, 2)) << "what the dead process had is not destroyed";
    EXPECT_EQ(counts()["ptp_port"], created_destroyed(0, 0));
}

TEST_F(SharedTypes, EveryTypeLivesAndTravelsAsWithOwnTypes) {
    u_int32 err = 0;
    vela_handle_options options = {};
    options.size = sizeof options;
    options.shared_types = vela_shared_types_create(path.c_str(), agreed, room, &err, nullptr, 0);
    ASSERT_EQ(err, 0u);
    vela_handle *sharing = vela_handle_create(&options, &err);
    ASSERT_EQ(err, 0u);
    vela_shared_types_close(options.shared_types);
    const test_handle plain;
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_MESSAGE}) {
        for (const record_type &type : record_types(kind)) {
            SCOPED_TRACE(type.about.name);
            const auto source = type.create(plain);
            fill(type, plain, source.get(), filling::random);
            const octets bytes = type.marshal(plain, source.get());
            const auto read = type.unmarshal(sharing, bytes);
            EXPECT_EQ(type.marshal(sharing, read.get()), bytes);
        }
    }
    for (const auto &[name, sums] : counts()) {
        EXPECT_EQ(sums.first, sums.second) << name;
    }
    EXPECT_GT(counts()["ptp_clock"].first, 0u);
    vela_handle_report report = {};
    vela_handle_destroy(sharing, &report);
    EXPECT_EQ(report.blocks, 0u);
}

}  // namespace
}  // namespace ptp_cfg_test
