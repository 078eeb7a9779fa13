// The framework's statuses: every code, every name, and what both lookups make of them.
#include "framework/status.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace kelvane::tests {
namespace {

constexpr char namesByCode[] = R"(
        0 TOVA_OK
      100 TOVA_I_ACPI_TRIP_POINT_NOT_PRESENT        101 TOVA_I_ACPI_OBJECT_NOT_PRESENT
      102 TOVA_I_AGAIN                              103 TOVA_I_MSR_AFFINITY
      104 TOVA_I_INIT_PAUSED                        105 TOVA_I_NO_LEGACY_SUPPORT
     1000 TOVA_E_NOT_IMPLEMENTED                   1001 TOVA_E_NO_LOWER_FRAMEWORK
     1002 TOVA_E_NOT_SUPPORTED                     1003 TOVA_E_UNSPECIFIED
     1004 TOVA_E_INVALID_HANDLE                    1005 TOVA_E_ITERATION_DONE
     1006 TOVA_E_STOP_POLL                         1007 TOVA_E_ORDERED_INSERT
     1008 TOVA_E_API_ERROR                         1009 TOVA_E_MAXIMUM_CAPACITY_REACHED
     1010 TOVA_E_DISABLED                          1011 TOVA_E_NOT_INITIALIZED
     1012 TOVA_E_UNSUPPORTED_CLIENT_SDK
     1100 TOVA_E_NO_ACPI_SUPPORT                   1101 TOVA_E_NO_ACPII_SUPPORT
     1102 TOVA_E_NO_ACPI5_SUPPORT                  1103 TOVA_E_ACPI_RESULT_TYPE
     1104 TOVA_E_ACPI_REQUEST_TYPE                 1105 TOVA_E_ACPI_EVAL_FAILURE
     1106 TOVA_E_ACPI_OBJECT_NOT_FOUND             1107 TOVA_E_UNSUPPORTED_ACPI_NOTIFY_EVENT
     1200 TOVA_E_ACTION_NOT_IMPLEMENTED            1201 TOVA_E_OVERFLOWED_RESULT_TYPE
     1202 TOVA_E_UNSUPPORTED_ACTION_TYPE           1203 TOVA_E_UNSUPPORTED_REQUEST_DATA_TYPE
     1204 TOVA_E_UNSUPPORTED_RESULT_DATA_TYPE      1205 TOVA_E_INVALID_REQUEST_TYPE
     1206 TOVA_E_XFORM_NOT_AVAILABLE               1207 TOVA_E_REQUEST_DATA_OUT_OF_BOUNDS
     1208 TOVA_E_ACTION_ALREADY_STARTED            1209 TOVA_E_APP_ALREADY_STARTED
     1300 TOVA_E_NEED_LARGER_BUFFER                1301 TOVA_E_NEED_BINARY_BUFFER
     1302 TOVA_E_REQ_SIZE_TYPE_MISTMATCH           1303 TOVA_E_COMPRESSION_ERROR
     1400 TOVA_E_CALLBACK_IS_NULL
     1500 TOVA_E_COMMAND_DATA_INVALID              1501 TOVA_E_DSP_ALREADY_LOADED
     1600 TOVA_E_CPC_SHORT                         1601 TOVA_E_CPC_SIZE_INVALID
     1602 TOVA_E_CPC_SIGNATURE                     1603 TOVA_E_CPC_PRIMITIVE_SIZE_INVALID
     1700 TOVA_E_IPC_DATA_INVALID
     1800 TOVA_E_NO_MEMORY                         1801 TOVA_E_NO_CREATE
     1900 TOVA_E_NO_MMIO_SUPPORT
     2000 TOVA_E_NO_MBI_SUPPORT
     2100 TOVA_E_MSR_IO_FAILURE                    2101 TOVA_E_MSR_MULTI_VALUES
     2102 TOVA_E_MSR_AFFINITY
     2200 TOVA_E_PARTICIPANT_NOT_FOUND
     2300 TOVA_E_PARAMETER_IS_NULL                 2301 TOVA_E_PARAMETER_IS_OUT_OF_BOUNDS
     2400 TOVA_E_NULL_PRIMITIVE                    2401 TOVA_E_NEED_DSP
     2402 TOVA_E_PRIMITIVE_ACTION_FAILURE          2403 TOVA_E_PRIMITIVE_DST_UNAVAIL
     2404 TOVA_E_PRIMITIVE_NOT_FOUND_IN_DSP        2405 TOVA_E_OPCODE_NOT_IMPLEMENTED
     2406 TOVA_E_PRIMITIVE_NO_ACTION_SUCCESSFUL    2407 TOVA_E_PRIMITIVE_NO_ACTION_AVAIL
     2408 TOVA_E_PRIMITIVE_SUR_NOT_FOUND_IN_DSP
     2500 TOVA_E_UNSUPPORTED_REQUEST_TEMP_TYPE     2501 TOVA_E_UNSUPPORTED_RESULT_TEMP_TYPE
     2600 TOVA_E_TIMEOUT
     2700 TOVA_E_NOT_TABLE
     2800 TOVA_E_UNSUPPORTED_REQUEST_POWER_TYPE    2801 TOVA_E_UNSUPPORTED_RESULT_POWER_TYPE
     2900 TOVA_E_NEED_ALGORITHM                    2901 TOVA_E_UNSUPPORTED_ALGORITHM
     3000 TOVA_E_NOT_FOUND                         3001 TOVA_E_READONLY
     3002 TOVA_E_IO_ERROR                          3003 TOVA_E_IO_OPEN_FAILED
     3004 TOVA_E_IO_DELETE_FAILED                  3005 TOVA_E_IO_HASH_FAILED
     3006 TOVA_E_IO_INVALID_NAME                   3007 TOVA_E_IO_ALREADY_EXISTS
     3100 TOVA_E_WS_DISC                           3101 TOVA_E_WS_INIT_FAILED
     3102 TOVA_E_WS_SOCKET_ERROR                   3103 TOVA_E_WS_SERVER_ERROR
     3104 TOVA_E_WS_INVALID_ADDR                   3105 TOVA_E_WS_ALREADY_STARTED
     3106 TOVA_E_WS_INCOMPLETE                     3107 TOVA_E_WS_INVALID_REQUEST
     3108 TOVA_E_WS_UNAUTHORIZED
     3200 TOVA_E_UNSUPPORTED_REQUEST_TIME_TYPE     3201 TOVA_E_UNSUPPORTED_RESULT_TIME_TYPE
     3300 TOVA_E_UNSUPPORTED_REQUEST_PERCENT_TYPE  3301 TOVA_E_UNSUPPORTED_RESULT_PERCENT_TYPE
     3400 TOVA_E_IFACE_DISABLED                    3401 TOVA_E_IFACE_NOT_SUPPORTED
     3500 TOVA_E_EVENT_NOT_FOUND                   3501 TOVA_E_EVENT_FILTERED
     3600 TOVA_E_INVALID_ARGUMENT_COUNT            3601 TOVA_E_INVALID_PARTICIPANT_ID
     3602 TOVA_E_INVALID_DOMAIN_ID                 3603 TOVA_E_INVALID_CAPABILITY_MASK
     3700 TOVA_E_SESSION_DISCONNECTED              3701 TOVA_E_SESSION_REQUEST_FAILED
     3702 TOVA_E_SESSION_ALREADY_STARTED           3703 TOVA_E_SESSION_PERMISSION_DENIED
    10000 TOVA_E_ABAT_ERRORS_RSVD
)";

class StatusNames : public testing::Test {
protected:
    StatusNames()
    {
        for (int code = -2; code <= 10100; ++code) codes.push_back(code);
        std::istringstream text(namesByCode);
        for (int code = 0; text >> code;) text >> names[code];
    }

    std::string expectedName(int code) const
    {
        const auto name = names.find(code);
        return name == names.end() ? "NA" : name->second;
    }

    std::vector<int> codes = { INT_MIN, INT_MAX };
    std::map<int, std::string> names;
};

TEST_F(StatusNames, AreThoseOfOneHundredAndElevenCodesAndNoOther)
{
    ASSERT_EQ(names.size(), 111U);

    for (const int code : codes) EXPECT_EQ(statusName(code), expectedName(code)) << code;
}

TEST_F(StatusNames, LackLegacySupportAndClientSdkInTheClientLibrary)
{
    for (const int code : codes) {
        const bool unknown = code == 105 || code == 1012;
        EXPECT_EQ(libraryStatusName(code), unknown ? "NA" : expectedName(code)) << code;
    }
}

TEST_F(StatusNames, AreTheSameTextsOnEveryCall)
{
    for (const int code : codes) {
        EXPECT_EQ(static_cast<const void*>(statusName(code)), static_cast<const void*>(statusName(code))) << code;
        EXPECT_EQ(static_cast<const void*>(libraryStatusName(code)), static_cast<const void*>(libraryStatusName(code)))
            << code;
    }
}

}  // namespace
}  // namespace kelvane::tests
