// Files of shared types that are wrong, damaged, cut or somebody else's.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <csignal>

#include "shared_types_fixture.h"

namespace velalib_test {
namespace {

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

}  // namespace
}  // namespace velalib_test
