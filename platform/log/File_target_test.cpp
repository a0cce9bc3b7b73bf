#include "platform/log/File_target.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace ara::log {
namespace {

class File_target_test : public ::testing::Test {
protected:
    File_target_test() {
        std::string path = (std::filesystem::temp_directory_path() / "ara_log_XXXXXX").string();
        EXPECT_NE(::mkdtemp(path.data()), nullptr);
        m_folder = path;
    }
    ~File_target_test() override { std::filesystem::remove_all(m_folder); }

    std::string content(std::string const& name) const {
        std::ifstream file(m_folder / name);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::filesystem::path m_folder;
};

TEST_F(File_target_test, LineIsInTheFileAtOnce) {
    File_target sut(m_folder / "log");

    sut.write(LogLevel::kError, "DIAG", "something");

    EXPECT_NE(content("log").find(" DIAG error something\n"), std::string::npos);
}

TEST_F(File_target_test, ExistingLinesStay) {
    File_target(m_folder / "log").write(LogLevel::kError, "DIAG", "first");
    File_target(m_folder / "log").write(LogLevel::kError, "DIAG", "second");

    EXPECT_LT(content("log").find("first"), content("log").find("second"));
}

TEST_F(File_target_test, PathThatCannotBeOpenedIsNamed) {
    std::string const path = m_folder / "missing" / "log";
    try {
        File_target sut(path);
        FAIL();
    } catch (std::system_error const& error) {
        EXPECT_NE(std::string(error.what()).find(path), std::string::npos);
    }
}

TEST_F(File_target_test, PipeIsRefusedInsteadOfStallingItsWriters) {
    std::string const path = m_folder / "pipe";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);

    EXPECT_THROW(File_target sut(path), std::system_error);
}

}  // namespace
}  // namespace ara::log
