// framework/status.h: the status codes of the ORQ framework and their names.
//
// A status is a signed 32-bit code; 0 is success, 100 and above inform, 1000 and above are errors. The two lookups are
// total, thread-safe, and return the same static text for the same code on every call, "NA" for a code without a name.
#pragma once

namespace kelvane {

// The codes that this program itself produces or tests.
constexpr int TOVA_OK = 0;
constexpr int TOVA_E_NOT_IMPLEMENTED = 1000;      // loader: the library lacks a function it needs
constexpr int TOVA_E_NOT_SUPPORTED = 1002;        // loader: no image, or an interface record of another kind
constexpr int TOVA_E_CALLBACK_IS_NULL = 1400;     // a needed interface slot is empty
constexpr int TOVA_E_NO_MEMORY = 1800;            // loader; also g_orqStatus while a tracked primitive is under way
constexpr int TOVA_E_NO_CREATE = 1801;            // loader: any other system error
constexpr int TOVA_E_PARAMETER_IS_NULL = 2300;    // loader: a null argument
constexpr int TOVA_E_NOT_FOUND = 3000;            // loader: file or module not found
constexpr int TOVA_E_IFACE_NOT_SUPPORTED = 3401;  // loader: the library does not export GetOrqInterface

// The service's own lookup: all codes.
const char* statusName(int status);

// The client library's lookup: it does not know 105 and 1012.
const char* libraryStatusName(int status);

}  // namespace kelvane
