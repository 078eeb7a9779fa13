// Looks for the two driver service keys and publishes what was found.
#include "service/capability_check.h"

#include "diagnostics/event_log.h"
#include "diagnostics/service_data.h"
#include "state/names.h"

#include <exception>

namespace kelvane {

namespace {

bool openForReading(const wchar_t* subkey, HKEY* key)
{
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, KEY_READ, key) == ERROR_SUCCESS;
}

void publishCapability()
{
    HKEY key = nullptr;
    // Deliberate: both go into one variable, and the first handle stays open.
    if (openForReading(acpiDriverKey, &key) && openForReading(cpuDriverKey, &key)) {
        registry_write(capabilityKey, REG_DWORD, driversPresent);
        writeServiceData("ORQ drivers are present , Capability value is set to 2");
        if (key) RegCloseKey(key);
    } else {
        registry_write(capabilityKey, REG_DWORD, driversMissing);
        reportServiceEvent(L"KV::Orq Drivers are not present, Please install the drivers");
        writeServiceData("ORQ drivers are not presnt present , Capability value is set to 1");
    }
}

void writeCapability(const std::wstring& subkey, DWORD type, DWORD value)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey.c_str(), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS) {
        writeServiceData("KV registry write failed");
        reportServiceEvent(L"KV Registry is not exists, Install the package again");
        return;
    }
    if (RegSetValueExW(key, capabilityValue, 0, type, reinterpret_cast<const BYTE*>(&value), sizeof value) !=
        ERROR_SUCCESS) {
        reportServiceEvent(L"KV Capability value is not present");
        return;  // Deliberate: the handle stays open.
    }
    writeServiceData("Capability key is present");
    RegCloseKey(key);
}

// A text that cannot even be put together for want of memory is lost.
void tellException(const char* text, const char* message)
{
    try {
        writeServiceData(std::string(text) + message);
    } catch (...) {
        return;
    }
}

}  // namespace

void capabilityCheck()
{
    try {
        publishCapability();
    } catch (const std::exception& error) {
        tellException("capabilityCheck function exception - ", error.what());
    } catch (...) {
        tellException("Catch...capabilityCheck function.. Service stopped", "");
    }
}

void registry_write(const std::wstring& subkey, DWORD type, DWORD value)
{
    try {
        writeCapability(subkey, type, value);
    } catch (const std::exception& error) {
        tellException("registry_write function exception - ", error.what());
    } catch (...) {
        tellException("Catch ...registry_write function. Service stopped", "");
    }
}

}  // namespace kelvane
