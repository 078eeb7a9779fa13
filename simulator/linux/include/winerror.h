// simulator/linux/include/winerror.h: error codes and results.
#pragma once

#include <windows.h>

constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG NO_ERROR = 0;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr LONG ERROR_PATH_NOT_FOUND = 3;
constexpr LONG ERROR_ACCESS_DENIED = 5;
constexpr LONG ERROR_INVALID_HANDLE = 6;
constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LONG ERROR_OUTOFMEMORY = 14;
constexpr LONG ERROR_INVALID_PARAMETER = 87;
constexpr LONG ERROR_CALL_NOT_IMPLEMENTED = 120;
constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LONG ERROR_MOD_NOT_FOUND = 126;
constexpr LONG ERROR_PROC_NOT_FOUND = 127;
constexpr LONG ERROR_ALREADY_EXISTS = 183;
constexpr LONG ERROR_BAD_EXE_FORMAT = 193;
constexpr LONG ERROR_MORE_DATA = 234;
constexpr LONG ERROR_FAILED_SERVICE_CONTROLLER_CONNECT = 1063;
constexpr LONG ERROR_EVT_INVALID_QUERY = 15001;
constexpr LONG ERROR_EVT_CHANNEL_NOT_FOUND = 15007;
constexpr LONG ERROR_EVT_QUERY_RESULT_STALE = 15011;
constexpr LONG ERROR_UNSUPPORTED_TYPE = 1630;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);

constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }

constexpr bool FAILED(HRESULT result) { return result < 0; }
