// Type information in a file that processes share: making, mapping, entering, and files that are wrong.
#include "shared_types.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <memory>

#include "test_support.h"

namespace velalib_test {
namespace {

/** Free under valgrind and the sanitizers too. */
void *const agreed = reinterpret_cast<void *>(0x60000000);
constexpr size_t room = 64 * 1024;

using shared_types = std::unique_ptr<vela_shared_types, decltype(&vela_shared_types_close)>;

/** Runs `body` in a process of its own and waits for its end; its exit status, or minus the signal that ended it. */
int in_another_process(const std::function<int()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

/** Types as vela_type_counts_each() gives them: "name variant created destroyed". */
std::vector<std::string> counts_of(const vela_shared_types *types) {
    std::vector<std::string> rows;
    vela_type_counts_each(
        types,
        [](void *cookie, const vela_type_counts *counts) {
            static_cast<std::vector<std::string> *>(cookie)->push_back(
                std::string(counts->type_name) + " " + std::to_string(counts->variant) + " " +
                std::to_string(counts->created) + " " + std::to_string(counts->destroyed));
        },
        &rows);
    return rows;
}

class shared_types_test : public testing::Test {
  protected:
    shared_types_test() {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        path = folder + "/types";
        vela_module_tot_root.first = &module;
    }
    ~shared_types_test() override {
        vela_module_tot_root.first = nullptr;
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
    shared_types make(size_t size = room) {
        shared_types types(vela_shared_types_create(path.c_str(), agreed, size, &err, reason, sizeof reason),
                           &vela_shared_types_close);
        EXPECT_NE(types, nullptr) << err << " " << reason;
        return types;
    }
    shared_types open(void *address = nullptr) {
        return {vela_shared_types_open(path.c_str(), address, &err, reason, sizeof reason), &vela_shared_types_close};
    }
    shared_types read() {
        return {vela_shared_types_read(path.c_str(), &err, reason, sizeof reason), &vela_shared_types_close};
    }
    void expect_refused(const shared_types &types, u_int32 code, const std::string &words) {
        EXPECT_EQ(types, nullptr);
        EXPECT_EQ(err, code);
        EXPECT_NE(std::string(reason).find(words), std::string::npos) << reason;
        err = 0;
        reason[0] = '\0';
    }
    vela_handle *make_handle(const shared_types &types) {
        vela_handle_options options = default_options();
        options.shared_types = types.get();
        return vela_handle_create(&options, &err);
    }
    /** What a module that is loaded later does for its one type. */
    static void enter(vela_handle *handle, const vela_type_info &record) {
        vela_type_info *copy = static_cast<vela_type_info *>(
            handle->shared_alloc(handle->shared_alloc_cookie, 0xFFFFFFFF, sizeof(vela_type_info_copy)));
        if (copy == nullptr) {
            return;
        }
        *copy = record;
        handle->type_table_insert(handle->type_table_cookie, test_class, copy->luid_text, copy);
        vela_update_variant_info(handle, test_class, copy, &record, 1);
    }
    static const vela_type_info *find(vela_handle *handle, const vela_type_info &record) {
        return handle->type_table_lookup(handle->type_table_cookie, test_class, record.luid_text);
    }

    type_record port{"ptp_port", 2, "00000000000000000000000000000001"};
    type_record clock{"ptp_clock", 1, "00000000000000000000000000000002"};
    type_record later{"later", 3, "00000000000000000000000000000003"};
    vela_type_info *types_of_module[3] = {&port.info, &clock.info, nullptr};
    vela_module module = {"module", types_of_module, nullptr, nullptr};
    std::string folder = "/tmp/velalib-test-XXXXXX";
    std::string path;
    u_int32 err = 0;
    char reason[200] = "";
};

TEST_F(shared_types_test, AHandleEntersTheLoadedModules) {
    shared_types types = make();
    vela_handle *handle = make_handle(types);
    ASSERT_NE(handle, nullptr) << err;
    EXPECT_EQ(counts_of(types.get()),
              (std::vector<std::string>{"ptp_port 0 0 0", "ptp_port 1 0 0", "ptp_clock 0 0 0"}));
    const vela_type_info *record = find(handle, port.info);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(vela_type_info_ptr_get(handle, test_class, &port.info, nullptr), record);
    EXPECT_NE(record->shared, 0u);
    EXPECT_EQ(record->variant_table->rows[1].used_length, port.rows[1].used_length);
    // Nothing in it points out of the file.
    const char *first = static_cast<const char *>(agreed);
    for (const void *place : {static_cast<const void *>(record), static_cast<const void *>(record->variant_table),
                              static_cast<const void *>(record->variant_table->rows)}) {
        EXPECT_TRUE(place >= first && place < first + room);
    }
    velalib_type_stats_create_object(handle, test_class, record, &record->variant_table->rows[1], &err);
    EXPECT_EQ(counts_of(read().get())[1], "ptp_port 1 1 0");

    vela_handle *second = make_handle(types);
    EXPECT_EQ(find(second, port.info), record);
    vela_handle_destroy(second, nullptr);
    types.reset();
    EXPECT_EQ(record->variant_table->rows[1].created, 1u) << "mapped as long as a handle uses it";
    vela_handle_destroy(handle, nullptr);
    EXPECT_EQ(counts_of(open().get())[1], "ptp_port 1 1 0") << "the file stays";
}

TEST_F(shared_types_test, AModuleThatIsLoadedLaterEntersItsTypesOnce) {
    const shared_types types = make();
    vela_handle *first = make_handle(types);
    vela_handle *second = make_handle(types);
    EXPECT_EQ(find(second, later.info), nullptr);
    enter(first, later.info);
    const vela_type_info *record = find(second, later.info);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->variant_table->rows[2].created, 0u);
    enter(second, later.info);  // as if it had looked before the first was ready
    EXPECT_EQ(find(first, later.info), record);
    EXPECT_EQ(counts_of(types.get()).size(), 6u);
    // A record that others could not read is not taken.
    type_record own{"own", 1, "00000000000000000000000000000004"};
    second->type_table_insert(second->type_table_cookie, test_class, own.info.luid_text, &own.info);
    EXPECT_EQ(find(second, own.info), nullptr);
    vela_handle_destroy(first, nullptr);
    vela_handle_destroy(second, nullptr);
}

TEST_F(shared_types_test, HandlesThatDoNotFitAreRefused) {
    shared_types types = make(12 * 1024);
    vela_handle *handle = make_handle(types);
    ASSERT_NE(handle, nullptr) << err;
    while (handle->shared_alloc(handle->shared_alloc_cookie, 0, 64) != nullptr) {
        continue;
    }
    enter(handle, later.info);
    EXPECT_EQ(find(handle, later.info), nullptr);
    EXPECT_EQ(vela_type_info_ptr_get(handle, test_class, &later.info, nullptr), &later.info) << "its own then";
    vela_handle_destroy(handle, nullptr);

    types_of_module[1] = &later.info;
    EXPECT_EQ(make_handle(types), nullptr) << "the file is full";
    EXPECT_EQ(err, VELA_ENOMEM);
    types_of_module[1] = &clock.info;
    port.table.count = 3;
    err = 0;
    EXPECT_EQ(make_handle(types), nullptr) << "the file knows two variants";
    EXPECT_EQ(err, VELA_EINVAL);
    port.table.count = 1;
    err = 0;
    handle = make_handle(types);
    EXPECT_NE(handle, nullptr) << "older modules may use what newer ones entered";
    vela_handle_destroy(handle, nullptr);

    EXPECT_EQ(make_handle(read()), nullptr);
    EXPECT_EQ(err, VELA_EINVAL);
    vela_handle_options options = default_options();
    options.shared_types = types.get();
    options.shared_alloc = limited_alloc;
    err = 0;
    EXPECT_EQ(vela_handle_create(&options, &err), nullptr);
    EXPECT_EQ(err, VELA_EINVAL);
}

TEST_F(shared_types_test, OtherAddressesAreRefused) {
    make();
    expect_refused(open(static_cast<char *>(agreed) + room), VELA_EINVAL, "its address is 0x60000000");
    void *taken = mmap(agreed, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_EQ(taken, agreed);
    expect_refused(open(), EEXIST, "something else there");
    EXPECT_NE(read(), nullptr) << "reading needs no address";
    munmap(taken, 4096);
    EXPECT_NE(open(agreed), nullptr);

    const auto create = [this](void *address, size_t size) {
        return shared_types(vela_shared_types_create((path + "2").c_str(), address, size, &err, reason, sizeof reason),
                            &vela_shared_types_close);
    };
    expect_refused(create(nullptr, room), VELA_EINVAL, "address");
    expect_refused(create(static_cast<char *>(agreed) + 8, room), VELA_EINVAL, "address");
    expect_refused(create(agreed, 100), VELA_EINVAL, "size");
    expect_refused(create(agreed, size_t{1} << 40), VELA_EINVAL, "size");
    EXPECT_NE(access((path + "2").c_str(), F_OK), 0) << "what could not be made is not there";
    expect_refused(
        {vela_shared_types_create(path.c_str(), agreed, room, &err, reason, sizeof reason), &vela_shared_types_close},
        EEXIST, "cannot make it: File exists");
    err = VELA_ENOMEM;
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(err, VELA_ENOMEM);
}

TEST_F(shared_types_test, OtherFilesAreRefused) {
    expect_refused(open(), VELA_ENOENT, "cannot open: No such file");
    expect_refused(read(), VELA_ENOENT, "cannot open: No such file");
    write_file(path, "");
    expect_refused(open(), VELA_EINVAL, "no file of shared types");
    write_file(path, std::string(room, 'x'));
    expect_refused(open(), VELA_EINVAL, "no file of shared types");
    write_file(path, std::string(room, '\0'));
    expect_refused(open(), EAGAIN, "not finished");
    expect_refused({vela_shared_types_read(folder.c_str(), &err, reason, sizeof reason), &vela_shared_types_close},
                   VELA_EINVAL, "no file");
    unlink(path.c_str());
    make();
    const std::string whole = read_file(path);
    write_file(path, whole.substr(0, room - 4096));
    expect_refused(open(), VELA_EINVAL, "damaged");
    write_file(path, whole.substr(0, 100));
    expect_refused(read(), VELA_EINVAL, "no file of shared types");
}

/** Whatever one byte of it says, a file is refused or can be counted, and nothing outside of it is touched. */
TEST_F(shared_types_test, DamagedFilesDoNoHarm) {
    vela_handle_destroy(make_handle(make(12 * 1024)), nullptr);
    const std::string whole = read_file(path);
    const size_t records = sizeof(velalib::shared_types_file);
    const size_t directory_end = offsetof(velalib::shared_types_file, directory) + 2 * sizeof(u_int32);
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    size_t refused = 0;
    for (size_t i = 0; i < records + 2 * (288 + 16) + 3 * 40; ++i) {
        if (i == directory_end) {
            i = records;  // the rest of the directory is empty
        }
        for (const int change : {0x01, 0x80, 0xFF}) {
            const char damaged = static_cast<char>(whole[i] ^ change);
            ASSERT_EQ(pwrite(fd, &damaged, 1, static_cast<off_t>(i)), 1);
            err = 0;
            const shared_types types = read();
            if (types == nullptr) {
                ++refused;
                ASSERT_STRNE(reason, "") << i;
            } else {
                counts_of(types.get());
            }
        }
        ASSERT_EQ(pwrite(fd, &whole[i], 1, static_cast<off_t>(i)), 1);
    }
    close(fd);
    EXPECT_GT(refused, 200u);
}

TEST_F(shared_types_test, NumbersThatChangeWhileItIsOpenAreChecked) {
    const shared_types types = make();
    vela_handle *handle = make_handle(types);
    velalib::shared_types_file &file = *types->file;
    const u_int32 used = file.used;
    for (const u_int32 wrong : {used + 4, used + 1, u_int32{room} + 8, 0xFFFFFFF8u, 8u, 0u}) {
        file.used = wrong;
        EXPECT_EQ(handle->shared_alloc(handle->shared_alloc_cookie, 0, 64), nullptr) << wrong;
        enter(handle, later.info);
        EXPECT_EQ(file.used, wrong);
        expect_refused(open(), VELA_EINVAL, "impossible lengths");
        expect_refused(read(), VELA_EINVAL, "impossible lengths");
    }
    file.used = used;
    for (const u_int32 place : {used, used - 8, 4u, 0xFFFFFFF8u, file.directory[0] + 4}) {
        file.directory[2] = place;
        file.count = 3;
        EXPECT_EQ(find(handle, later.info), nullptr) << "no record is there";
        EXPECT_EQ(counts_of(types.get()).size(), 3u) << "those that are whole";
        expect_refused(open(), VELA_EINVAL, "record 3 of 3 is wrong");
    }
    file.count = velalib::shared_types_limit + 1;
    EXPECT_EQ(find(handle, later.info), nullptr);
    counts_of(types.get());
    file.count = 2;
    vela_handle_destroy(handle, nullptr);
}

TEST_F(shared_types_test, AFileThatIsCutEndsNobodyWhoDoesNotCount) {
    for (const off_t left : {off_t{0}, off_t{4096}, off_t{room - 4096}}) {
        make();
        EXPECT_EQ(in_another_process([this, left] {
                      const shared_types types = open();
                      vela_handle *handle = make_handle(types);
                      if (handle == nullptr || truncate(path.c_str(), left) != 0) {
                          return 1;
                      }
                      if (make_handle(types) != nullptr || err != VELA_EINVAL) {
                          return 2;
                      }
                      if (find(handle, later.info) != nullptr) {
                          return 3;
                      }
                      if (handle->shared_alloc(handle->shared_alloc_cookie, 0, 64) != nullptr) {
                          return 4;
                      }
                      if (!counts_of(types.get()).empty()) {
                          return 5;
                      }
                      vela_handle_destroy(handle, nullptr);
                      return 0;
                  }),
                  0)
            << left;
        expect_refused(open(), VELA_EINVAL, "");
        unlink(path.c_str());
    }
}

TEST_F(shared_types_test, FilesOfOthersLinksAndPipesAreTakenWhenAllowedOnly) {
    const auto open_with = [this](u_int32 users, u_int32 links, const std::string &name) {
        const vela_shared_types_options options = {sizeof options, nullptr, users, links};
        return shared_types(vela_shared_types_open_with(name.c_str(), &options, &err, reason, sizeof reason),
                            &vela_shared_types_close);
    };
    const std::string real = path + ".real";
    make();
    ASSERT_EQ(rename(path.c_str(), real.c_str()), 0);
    ASSERT_EQ(symlink(real.c_str(), path.c_str()), 0);
    expect_refused(open(), ELOOP, "it is a symbolic link");
    expect_refused(
        {vela_shared_types_create(path.c_str(), agreed, room, &err, reason, sizeof reason), &vela_shared_types_close},
        EEXIST, "cannot make it");
    EXPECT_NE(open_with(0, 1, path), nullptr) << reason;
    EXPECT_NE(read(), nullptr) << reason;
    const int fd = ::open(real.c_str(), O_RDWR | O_CLOEXEC);
    const std::string nameless = "/proc/self/fd/" + std::to_string(fd);
    expect_refused(open_with(0, 0, nameless), ELOOP, "symbolic link");
    EXPECT_NE(open_with(0, 1, nameless), nullptr) << reason;
    close(fd);
    const vela_shared_types_options unknown = {1, nullptr, 0, 0};
    expect_refused(
        {vela_shared_types_open_with(real.c_str(), &unknown, &err, reason, sizeof reason), &vela_shared_types_close},
        VELA_EINVAL, "size");

    unlink(path.c_str());
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expect_refused(open(), VELA_EINVAL, "no regular file");
    expect_refused(read(), VELA_EINVAL, "no regular file");
    unlink(path.c_str());
    if (geteuid() == 0 && chown(real.c_str(), 12345, 12345) == 0) {  // only root can give files away
        expect_refused(open_with(0, 1, real), EACCES, "it belongs to another user");
        EXPECT_NE(open_with(1, 0, real), nullptr) << reason;
        const shared_types copy(vela_shared_types_read(real.c_str(), &err, reason, sizeof reason),
                                &vela_shared_types_close);
        EXPECT_NE(copy, nullptr) << reason;
    }
    unlink(real.c_str());
}

TEST_F(shared_types_test, TheLockSurvivesAProcessThatDiesWithIt) {
    make();
    EXPECT_EQ(in_another_process([this] {
                  const shared_types types = open();
                  pthread_mutex_lock(&types->file->lock);
                  types->file->used.fetch_add(64);
                  raise(SIGKILL);
                  return 0;
              }),
              -SIGKILL);
    const shared_types types = open();
    for (int i = 0; i < 2; ++i) {
        vela_handle *handle = make_handle(types);
        ASSERT_NE(handle, nullptr) << err;
        vela_handle_destroy(handle, nullptr);
    }
    EXPECT_EQ(counts_of(types.get()).size(), 3u);
}

TEST_F(shared_types_test, ProcessesThatEnterAtOnceAgree) {
    make();
    std::vector<std::unique_ptr<type_record>> many;
    for (int i = 0; i < 100; ++i) {
        char text[33];
        snprintf(text, sizeof text, "%032x", i + 100);
        many.push_back(std::make_unique<type_record>("many", 1, text));
    }
    std::vector<pid_t> children;
    for (int child = 0; child < 4; ++child) {
        children.push_back(fork());
        if (children.back() != 0) {
            continue;
        }
        alarm(30);
        const shared_types types = open();
        vela_handle *handle = make_handle(types);
        for (const auto &record : many) {
            if (find(handle, record->info) == nullptr) {
                enter(handle, record->info);
            }
            const vela_type_info *entered = find(handle, record->info);
            if (entered == nullptr || entered->variant_table == &record->table) {
                _exit(1);
            }
        }
        _exit(0);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(counts_of(read().get()).size(), 3 + many.size()) << "each once";
}

TEST(TypeCounts, WithoutAFileAreTheProcesssOwn) {
    type_record record("ptp_clock");
    vela_type_info *types[] = {&record.info, nullptr};
    vela_module module = {"module", types, nullptr, nullptr};
    vela_module_tot_root.first = &module;
    EXPECT_EQ(counts_of(nullptr), (std::vector<std::string>{"ptp_clock 0 3 2"}));
    vela_module_tot_root.first = nullptr;
    vela_shared_types_close(nullptr);
}

}  // namespace
}  // namespace velalib_test
