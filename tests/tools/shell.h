// Runs shell scripts in a folder of their own, with ptpcfg in the path.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

struct outcome {
    int status;       // exit status of the script; 128 + N when signal N ended it
    std::string out;  // what it wrote
    std::string err;
};

class shell_test : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /** Runs a script with the test's folder as working folder; $CLOCKS is the folder of the example clocks. */
    static outcome sh(const std::string &script);
    static void write(const std::string &name, const std::string &content);
    static std::string read(const std::string &name);
    /** Names in the working folder, hidden ones too, without those of the outcome. */
    static std::string listing();

  private:
    std::filesystem::path folder_;
};
