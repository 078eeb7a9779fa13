// The log's file in the real file system. On Windows alone: its narrow paths are in the code page, and an open file is
// in others' way.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

namespace kelvane::tests {
namespace {

TEST(DiagnosticLogFile, LiesInAFolderOfTheCodePageWhichTheFirstStartMakesAndIsClosedAgain)
{
    ASSERT_EQ(GetACP(), 1252U);
    const std::filesystem::path home = roamingFolder() / L"M\u00fcller";
    const std::filesystem::path file = home / "KelvanneApp" / "logs" / "KelvanneApp.log";
    std::filesystem::create_directories(home);
    knownFolderLookups.path = &home;

    EXPECT_EQ(DiagnosticLogInspector::makeLogFile(),
              roamingFolder().string() + "\\M\xFCller\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_EQ(bytesOf(file), "");
    // Windows removes no file that is open.
    EXPECT_TRUE(DeleteFileW(file.c_str()));
}

TEST_F(OpenLog, LetsOthersReadAndWriteTheFile)
{
    const std::wstring file = (roamingFolder() / "KelvanneApp" / "logs" / "KelvanneApp.log").wstring();

    const HANDLE shared = CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);

    EXPECT_NE(shared, INVALID_HANDLE_VALUE);
    CloseHandle(shared);
}

}  // namespace
}  // namespace kelvane::tests
