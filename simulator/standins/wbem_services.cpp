// One watch per sink; cancelling ends it and tells the sink so.
#include "simulator/standins/wbem_services.h"

#include "simulator/platform/com_object.h"
#include "simulator/platform/unused_wmi.h"
#include "simulator/standins/process_watch.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

namespace kelvane::simulator {

namespace {

class Services final : public UnusedServices<ComObject<IWbemServices, IClientSecurity>> {
public:
    STDMETHODIMP ExecNotificationQueryAsync(BSTR /*language*/, BSTR /*query*/, LONG /*flags*/,
                                            IWbemContext* /*context*/, IWbemObjectSink* sink) override
    {
        if (!sink) return static_cast<HRESULT>(WBEM_E_INVALID_PARAMETER);
        const std::lock_guard guard(lock);
        watches.push_back(std::make_unique<ProcessWatch>(sink));
        return S_OK;
    }

    STDMETHODIMP CancelAsyncCall(IWbemObjectSink* sink) override
    {
        std::unique_ptr<ProcessWatch> watch = removeWatch(sink);
        if (!watch) return static_cast<HRESULT>(WBEM_E_NOT_FOUND);
        watch.reset();  // waits for a call that is under way, with nothing locked
        return sink->SetStatus(WBEM_STATUS_COMPLETE, static_cast<HRESULT>(WBEM_E_CALL_CANCELLED), nullptr, nullptr);
    }

    STDMETHODIMP SetBlanket(IUnknown* /*proxy*/, DWORD /*authentication*/, DWORD /*authorization*/,
                            OLECHAR* /*principal*/, DWORD /*level*/, DWORD /*impersonation*/, void* /*identity*/,
                            DWORD /*capabilities*/) override
    {
        return S_OK;
    }

    STDMETHODIMP QueryBlanket(IUnknown* /*proxy*/, DWORD* /*authentication*/, DWORD* /*authorization*/,
                              OLECHAR** /*principal*/, DWORD* /*level*/, DWORD* /*impersonation*/, void** /*identity*/,
                              DWORD* /*capabilities*/) override
    {
        return E_NOTIMPL;
    }

    STDMETHODIMP CopyProxy(IUnknown* /*proxy*/, IUnknown** /*copy*/) override { return E_NOTIMPL; }

private:
    std::unique_ptr<ProcessWatch> removeWatch(const IWbemObjectSink* sink)
    {
        const std::lock_guard guard(lock);
        const auto found =
            std::find_if(watches.begin(), watches.end(), [&](const auto& watch) { return watch->watcher() == sink; });
        if (found == watches.end()) return nullptr;
        std::unique_ptr<ProcessWatch> watch = std::move(*found);
        watches.erase(found);
        return watch;
    }

    std::mutex lock;
    std::vector<std::unique_ptr<ProcessWatch>> watches;
};

}  // namespace

IWbemServices* makeServices() { return new Services; }

}  // namespace kelvane::simulator
