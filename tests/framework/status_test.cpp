// The framework's statuses: every code, every name, and what both lookups make of them.
#include "framework/status.h"

#include <gmock/gmock.h>

#include <climits>
#include <map>
#include <string>
#include <vector>

namespace kelvane::tests {
namespace {

// The first code of a run, and the names from there on.
const std::map<int, std::vector<std::string>> names = {
    { 0, { "TOVA_OK" } },
    { 100,
      { "TOVA_I_ACPI_TRIP_POINT_NOT_PRESENT", "TOVA_I_ACPI_OBJECT_NOT_PRESENT", "TOVA_I_AGAIN", "TOVA_I_MSR_AFFINITY",
        "TOVA_I_INIT_PAUSED", "TOVA_I_NO_LEGACY_SUPPORT" } },
    { 1000,
      { "TOVA_E_NOT_IMPLEMENTED", "TOVA_E_NO_LOWER_FRAMEWORK", "TOVA_E_NOT_SUPPORTED", "TOVA_E_UNSPECIFIED",
        "TOVA_E_INVALID_HANDLE", "TOVA_E_ITERATION_DONE", "TOVA_E_STOP_POLL", "TOVA_E_ORDERED_INSERT",
        "TOVA_E_API_ERROR", "TOVA_E_MAXIMUM_CAPACITY_REACHED", "TOVA_E_DISABLED", "TOVA_E_NOT_INITIALIZED",
        "TOVA_E_UNSUPPORTED_CLIENT_SDK" } },
    { 1100,
      { "TOVA_E_NO_ACPI_SUPPORT", "TOVA_E_NO_ACPII_SUPPORT", "TOVA_E_NO_ACPI5_SUPPORT", "TOVA_E_ACPI_RESULT_TYPE",
        "TOVA_E_ACPI_REQUEST_TYPE", "TOVA_E_ACPI_EVAL_FAILURE", "TOVA_E_ACPI_OBJECT_NOT_FOUND",
        "TOVA_E_UNSUPPORTED_ACPI_NOTIFY_EVENT" } },
    { 1200,
      { "TOVA_E_ACTION_NOT_IMPLEMENTED", "TOVA_E_OVERFLOWED_RESULT_TYPE", "TOVA_E_UNSUPPORTED_ACTION_TYPE",
        "TOVA_E_UNSUPPORTED_REQUEST_DATA_TYPE", "TOVA_E_UNSUPPORTED_RESULT_DATA_TYPE", "TOVA_E_INVALID_REQUEST_TYPE",
        "TOVA_E_XFORM_NOT_AVAILABLE", "TOVA_E_REQUEST_DATA_OUT_OF_BOUNDS", "TOVA_E_ACTION_ALREADY_STARTED",
        "TOVA_E_APP_ALREADY_STARTED" } },
    { 1300,
      { "TOVA_E_NEED_LARGER_BUFFER", "TOVA_E_NEED_BINARY_BUFFER", "TOVA_E_REQ_SIZE_TYPE_MISTMATCH",
        "TOVA_E_COMPRESSION_ERROR" } },
    { 1400, { "TOVA_E_CALLBACK_IS_NULL" } },
    { 1500, { "TOVA_E_COMMAND_DATA_INVALID", "TOVA_E_DSP_ALREADY_LOADED" } },
    { 1600,
      { "TOVA_E_CPC_SHORT", "TOVA_E_CPC_SIZE_INVALID", "TOVA_E_CPC_SIGNATURE", "TOVA_E_CPC_PRIMITIVE_SIZE_INVALID" } },
    { 1700, { "TOVA_E_IPC_DATA_INVALID" } },
    { 1800, { "TOVA_E_NO_MEMORY", "TOVA_E_NO_CREATE" } },
    { 1900, { "TOVA_E_NO_MMIO_SUPPORT" } },
    { 2000, { "TOVA_E_NO_MBI_SUPPORT" } },
    { 2100, { "TOVA_E_MSR_IO_FAILURE", "TOVA_E_MSR_MULTI_VALUES", "TOVA_E_MSR_AFFINITY" } },
    { 2200, { "TOVA_E_PARTICIPANT_NOT_FOUND" } },
    { 2300, { "TOVA_E_PARAMETER_IS_NULL", "TOVA_E_PARAMETER_IS_OUT_OF_BOUNDS" } },
    { 2400,
      { "TOVA_E_NULL_PRIMITIVE", "TOVA_E_NEED_DSP", "TOVA_E_PRIMITIVE_ACTION_FAILURE", "TOVA_E_PRIMITIVE_DST_UNAVAIL",
        "TOVA_E_PRIMITIVE_NOT_FOUND_IN_DSP", "TOVA_E_OPCODE_NOT_IMPLEMENTED", "TOVA_E_PRIMITIVE_NO_ACTION_SUCCESSFUL",
        "TOVA_E_PRIMITIVE_NO_ACTION_AVAIL", "TOVA_E_PRIMITIVE_SUR_NOT_FOUND_IN_DSP" } },
    { 2500, { "TOVA_E_UNSUPPORTED_REQUEST_TEMP_TYPE", "TOVA_E_UNSUPPORTED_RESULT_TEMP_TYPE" } },
    { 2600, { "TOVA_E_TIMEOUT" } },
    { 2700, { "TOVA_E_NOT_TABLE" } },
    { 2800, { "TOVA_E_UNSUPPORTED_REQUEST_POWER_TYPE", "TOVA_E_UNSUPPORTED_RESULT_POWER_TYPE" } },
    { 2900, { "TOVA_E_NEED_ALGORITHM", "TOVA_E_UNSUPPORTED_ALGORITHM" } },
    { 3000,
      { "TOVA_E_NOT_FOUND", "TOVA_E_READONLY", "TOVA_E_IO_ERROR", "TOVA_E_IO_OPEN_FAILED", "TOVA_E_IO_DELETE_FAILED",
        "TOVA_E_IO_HASH_FAILED", "TOVA_E_IO_INVALID_NAME", "TOVA_E_IO_ALREADY_EXISTS" } },
    { 3100,
      { "TOVA_E_WS_DISC", "TOVA_E_WS_INIT_FAILED", "TOVA_E_WS_SOCKET_ERROR", "TOVA_E_WS_SERVER_ERROR",
        "TOVA_E_WS_INVALID_ADDR", "TOVA_E_WS_ALREADY_STARTED", "TOVA_E_WS_INCOMPLETE", "TOVA_E_WS_INVALID_REQUEST",
        "TOVA_E_WS_UNAUTHORIZED" } },
    { 3200, { "TOVA_E_UNSUPPORTED_REQUEST_TIME_TYPE", "TOVA_E_UNSUPPORTED_RESULT_TIME_TYPE" } },
    { 3300, { "TOVA_E_UNSUPPORTED_REQUEST_PERCENT_TYPE", "TOVA_E_UNSUPPORTED_RESULT_PERCENT_TYPE" } },
    { 3400, { "TOVA_E_IFACE_DISABLED", "TOVA_E_IFACE_NOT_SUPPORTED" } },
    { 3500, { "TOVA_E_EVENT_NOT_FOUND", "TOVA_E_EVENT_FILTERED" } },
    { 3600,
      { "TOVA_E_INVALID_ARGUMENT_COUNT", "TOVA_E_INVALID_PARTICIPANT_ID", "TOVA_E_INVALID_DOMAIN_ID",
        "TOVA_E_INVALID_CAPABILITY_MASK" } },
    { 3700,
      { "TOVA_E_SESSION_DISCONNECTED", "TOVA_E_SESSION_REQUEST_FAILED", "TOVA_E_SESSION_ALREADY_STARTED",
        "TOVA_E_SESSION_PERMISSION_DENIED" } },
    { 10000, { "TOVA_E_ABAT_ERRORS_RSVD" } },
};

// All codes that have a name lie well inside.
constexpr int lowest = -2;
constexpr int highest = 10100;

std::string nameOf(int code)
{
    for (const auto& [first, run] : names) {
        const auto place = static_cast<std::size_t>(code - first);
        if (code >= first && place < run.size()) return run[place];
    }
    return "NA";
}

TEST(StatusName, IsThatOfEachKnownCodeAndOtherwiseNotAvailable)
{
    for (int code = lowest; code <= highest; ++code) EXPECT_EQ(statusName(code), nameOf(code)) << code;
    EXPECT_STREQ(statusName(INT_MIN), "NA");
    EXPECT_STREQ(statusName(INT_MAX), "NA");
}

TEST(LibraryStatusName, IsTheSameButForLegacySupportAndClientSdk)
{
    for (int code = lowest; code <= highest; ++code) {
        const bool unknown = code == 105 || code == 1012;
        EXPECT_EQ(libraryStatusName(code), unknown ? "NA" : nameOf(code)) << code;
    }
    EXPECT_STREQ(libraryStatusName(INT_MIN), "NA");
    EXPECT_STREQ(libraryStatusName(INT_MAX), "NA");
}

TEST(StatusName, IsTheSameTextOnEveryCall)
{
    for (const int code : { 1003, 105, 999 }) {
        EXPECT_EQ(static_cast<const void*>(statusName(code)), statusName(code)) << code;
        EXPECT_EQ(static_cast<const void*>(libraryStatusName(code)), libraryStatusName(code)) << code;
    }
}

}  // namespace
}  // namespace kelvane::tests
