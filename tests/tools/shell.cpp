// Runs a script in a new folder and collects what it says.
#include "shell.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

namespace fs = std::filesystem;

void shell_test::SetUp() {
    std::string name = (fs::temp_directory_path() / "ptpcfg-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    fs::current_path(folder_);
    const char *path = std::getenv("PATH");
    setenv("PATH", (std::string(PTPCFG_FOLDER) + ":" + (path != nullptr ? path : "/bin:/usr/bin")).c_str(), 1);
    unsetenv("COLUMNS");
    setenv("CLOCKS", (std::string(EXAMPLES_FOLDER) + "/clocks").c_str(), 1);
}

void shell_test::TearDown() {
    fs::current_path("/");
    fs::remove_all(folder_);
}

outcome shell_test::sh(const std::string &script) {
    const int status = std::system(("{ " + script + "\n} >.out 2>.err").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(".out"), read(".err")};
}

void shell_test::write(const std::string &name, const std::string &content) {
    std::ofstream(name, std::ios::binary) << content;
}

std::string shell_test::read(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string shell_test::listing() {
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(".")) {
        names.insert(entry.path().filename().string());
    }
    std::string text;
    for (const std::string &name : names) {
        if (name != ".out" && name != ".err") {
            text += (text.empty() ? "" : " ") + name;
        }
    }
    return text;
}
