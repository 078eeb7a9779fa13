// simulator/platform/unused_wmi.h: the many methods of the WMI interfaces that the service never calls.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <wbemcli.h>

namespace kelvane::tests {

class UnusedServices : public IWbemServices {
public:
    using Ask = const BSTR;
    using Flags = LONG;
    using Context = IWbemContext*;
    using Sink = IWbemObjectSink*;
    using Result = IWbemCallResult**;
    using Object = IWbemClassObject*;
    using Enum = IEnumWbemClassObject**;

    STDMETHODIMP OpenNamespace(Ask, Flags, Context, IWbemServices**, Result) override { return E_NOTIMPL; }

    STDMETHODIMP CancelAsyncCall(Sink) override { return E_NOTIMPL; }

    STDMETHODIMP QueryObjectSink(Flags, Sink*) override { return E_NOTIMPL; }

    STDMETHODIMP GetObject(Ask, Flags, Context, Object*, Result) override { return E_NOTIMPL; }

    STDMETHODIMP GetObjectAsync(Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP PutClass(Object, Flags, Context, Result) override { return E_NOTIMPL; }

    STDMETHODIMP PutClassAsync(Object, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP DeleteClass(Ask, Flags, Context, Result) override { return E_NOTIMPL; }

    STDMETHODIMP DeleteClassAsync(Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP CreateClassEnum(Ask, Flags, Context, Enum) override { return E_NOTIMPL; }

    STDMETHODIMP CreateClassEnumAsync(Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP PutInstance(Object, Flags, Context, Result) override { return E_NOTIMPL; }

    STDMETHODIMP PutInstanceAsync(Object, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP DeleteInstance(Ask, Flags, Context, Result) override { return E_NOTIMPL; }

    STDMETHODIMP DeleteInstanceAsync(Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP CreateInstanceEnum(Ask, Flags, Context, Enum) override { return E_NOTIMPL; }

    STDMETHODIMP CreateInstanceEnumAsync(Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP ExecQuery(Ask, Ask, Flags, Context, Enum) override { return E_NOTIMPL; }

    STDMETHODIMP ExecQueryAsync(Ask, Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP ExecNotificationQuery(Ask, Ask, Flags, Context, Enum) override { return E_NOTIMPL; }

    STDMETHODIMP ExecNotificationQueryAsync(Ask, Ask, Flags, Context, Sink) override { return E_NOTIMPL; }

    STDMETHODIMP ExecMethod(Ask, Ask, Flags, Context, Object, Object*, Result) override { return E_NOTIMPL; }

    STDMETHODIMP ExecMethodAsync(Ask, Ask, Flags, Context, Object, Sink) override { return E_NOTIMPL; }
};

class UnusedClassObject : public IWbemClassObject {
public:
    using Name = LPCWSTR;
    using Object = IWbemClassObject**;

    STDMETHODIMP GetQualifierSet(IWbemQualifierSet**) override { return E_NOTIMPL; }

    STDMETHODIMP Get(Name, LONG, VARIANT*, CIMTYPE*, LONG*) override { return E_NOTIMPL; }

    STDMETHODIMP Put(Name, LONG, VARIANT*, CIMTYPE) override { return E_NOTIMPL; }

    STDMETHODIMP Delete(Name) override { return E_NOTIMPL; }

    STDMETHODIMP GetNames(Name, LONG, VARIANT*, SAFEARRAY**) override { return E_NOTIMPL; }

    STDMETHODIMP BeginEnumeration(LONG) override { return E_NOTIMPL; }

    STDMETHODIMP Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return E_NOTIMPL; }

    STDMETHODIMP EndEnumeration() override { return E_NOTIMPL; }

    STDMETHODIMP GetPropertyQualifierSet(Name, IWbemQualifierSet**) override { return E_NOTIMPL; }

    STDMETHODIMP Clone(Object) override { return E_NOTIMPL; }

    STDMETHODIMP GetObjectText(LONG, BSTR*) override { return E_NOTIMPL; }

    STDMETHODIMP SpawnDerivedClass(LONG, Object) override { return E_NOTIMPL; }

    STDMETHODIMP SpawnInstance(LONG, Object) override { return E_NOTIMPL; }

    STDMETHODIMP CompareTo(LONG, IWbemClassObject*) override { return E_NOTIMPL; }

    STDMETHODIMP GetPropertyOrigin(Name, BSTR*) override { return E_NOTIMPL; }

    STDMETHODIMP InheritsFrom(Name) override { return E_NOTIMPL; }

    STDMETHODIMP GetMethod(Name, LONG, Object, Object) override { return E_NOTIMPL; }

    STDMETHODIMP PutMethod(Name, LONG, IWbemClassObject*, IWbemClassObject*) override { return E_NOTIMPL; }

    STDMETHODIMP DeleteMethod(Name) override { return E_NOTIMPL; }

    STDMETHODIMP BeginMethodEnumeration(LONG) override { return E_NOTIMPL; }

    STDMETHODIMP NextMethod(LONG, BSTR*, Object, Object) override { return E_NOTIMPL; }

    STDMETHODIMP EndMethodEnumeration() override { return E_NOTIMPL; }

    STDMETHODIMP GetMethodQualifierSet(Name, IWbemQualifierSet**) override { return E_NOTIMPL; }

    STDMETHODIMP GetMethodOrigin(Name, BSTR*) override { return E_NOTIMPL; }
};

}  // namespace kelvane::tests
