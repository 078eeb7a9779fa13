// simulator/platform/unused_wmi.h: the many methods of the WMI interfaces that the service never calls, all refused.
//
// Base is the interface itself, or what implements its other methods:
//
//     class Services : public UnusedServices<ComObject<IWbemServices>>
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <wbemcli.h>

namespace kelvane::simulator {

constexpr auto refused = static_cast<HRESULT>(WBEM_E_NOT_SUPPORTED);

template<class Base>
class UnusedServices : public Base {
public:
    using Base::Base;

    using Ask = const BSTR;
    using Flags = LONG;
    using Context = IWbemContext*;
    using Sink = IWbemObjectSink*;
    using Result = IWbemCallResult**;
    using Object = IWbemClassObject*;
    using Enum = IEnumWbemClassObject**;

    STDMETHODIMP OpenNamespace(Ask, Flags, Context, IWbemServices**, Result) override { return refused; }

    STDMETHODIMP CancelAsyncCall(Sink) override { return refused; }

    STDMETHODIMP QueryObjectSink(Flags, Sink*) override { return refused; }

    STDMETHODIMP GetObject(Ask, Flags, Context, Object*, Result) override { return refused; }

    STDMETHODIMP GetObjectAsync(Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP PutClass(Object, Flags, Context, Result) override { return refused; }

    STDMETHODIMP PutClassAsync(Object, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP DeleteClass(Ask, Flags, Context, Result) override { return refused; }

    STDMETHODIMP DeleteClassAsync(Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP CreateClassEnum(Ask, Flags, Context, Enum) override { return refused; }

    STDMETHODIMP CreateClassEnumAsync(Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP PutInstance(Object, Flags, Context, Result) override { return refused; }

    STDMETHODIMP PutInstanceAsync(Object, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP DeleteInstance(Ask, Flags, Context, Result) override { return refused; }

    STDMETHODIMP DeleteInstanceAsync(Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP CreateInstanceEnum(Ask, Flags, Context, Enum) override { return refused; }

    STDMETHODIMP CreateInstanceEnumAsync(Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP ExecQuery(Ask, Ask, Flags, Context, Enum) override { return refused; }

    STDMETHODIMP ExecQueryAsync(Ask, Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP ExecNotificationQuery(Ask, Ask, Flags, Context, Enum) override { return refused; }

    STDMETHODIMP ExecNotificationQueryAsync(Ask, Ask, Flags, Context, Sink) override { return refused; }

    STDMETHODIMP ExecMethod(Ask, Ask, Flags, Context, Object, Object*, Result) override { return refused; }

    STDMETHODIMP ExecMethodAsync(Ask, Ask, Flags, Context, Object, Sink) override { return refused; }
};

template<class Base>
class UnusedClassObject : public Base {
public:
    using Base::Base;

    using Name = LPCWSTR;
    using Object = IWbemClassObject**;

    STDMETHODIMP GetQualifierSet(IWbemQualifierSet**) override { return refused; }

    STDMETHODIMP Get(Name, LONG, VARIANT*, CIMTYPE*, LONG*) override { return refused; }

    STDMETHODIMP Put(Name, LONG, VARIANT*, CIMTYPE) override { return refused; }

    STDMETHODIMP Delete(Name) override { return refused; }

    STDMETHODIMP GetNames(Name, LONG, VARIANT*, SAFEARRAY**) override { return refused; }

    STDMETHODIMP BeginEnumeration(LONG) override { return refused; }

    STDMETHODIMP Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return refused; }

    STDMETHODIMP EndEnumeration() override { return refused; }

    STDMETHODIMP GetPropertyQualifierSet(Name, IWbemQualifierSet**) override { return refused; }

    STDMETHODIMP Clone(Object) override { return refused; }

    STDMETHODIMP GetObjectText(LONG, BSTR*) override { return refused; }

    STDMETHODIMP SpawnDerivedClass(LONG, Object) override { return refused; }

    STDMETHODIMP SpawnInstance(LONG, Object) override { return refused; }

    STDMETHODIMP CompareTo(LONG, IWbemClassObject*) override { return refused; }

    STDMETHODIMP GetPropertyOrigin(Name, BSTR*) override { return refused; }

    STDMETHODIMP InheritsFrom(Name) override { return refused; }

    STDMETHODIMP GetMethod(Name, LONG, Object, Object) override { return refused; }

    STDMETHODIMP PutMethod(Name, LONG, IWbemClassObject*, IWbemClassObject*) override { return refused; }

    STDMETHODIMP DeleteMethod(Name) override { return refused; }

    STDMETHODIMP BeginMethodEnumeration(LONG) override { return refused; }

    STDMETHODIMP NextMethod(LONG, BSTR*, Object, Object) override { return refused; }

    STDMETHODIMP EndMethodEnumeration() override { return refused; }

    STDMETHODIMP GetMethodQualifierSet(Name, IWbemQualifierSet**) override { return refused; }

    STDMETHODIMP GetMethodOrigin(Name, BSTR*) override { return refused; }
};

}  // namespace kelvane::simulator
