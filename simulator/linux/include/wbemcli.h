// simulator/linux/include/wbemcli.h: WMI's interfaces. Only those members have names of their own that the service
// calls.
#pragma once

#include <oaidl.h>

using CIMTYPE = LONG;

enum : LONG {
    WBEM_FLAG_SEND_STATUS = 0x80,
    WBEM_STATUS_COMPLETE = 0,
    WBEM_STATUS_PROGRESS = 2,
};

constexpr HRESULT WBEM_S_NO_ERROR = 0;
constexpr HRESULT WBEM_E_NOT_FOUND = static_cast<HRESULT>(0x80041002);
constexpr HRESULT WBEM_E_NOT_SUPPORTED = static_cast<HRESULT>(0x8004100C);

struct IWbemContext;
struct IWbemCallResult;
struct IEnumWbemClassObject;
struct IWbemQualifierSet;

struct IWbemClassObject : IUnknown {
    virtual HRESULT GetQualifierSet(IWbemQualifierSet**) = 0;
    virtual HRESULT Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) = 0;
    virtual HRESULT Put(LPCWSTR, LONG, VARIANT*, CIMTYPE) = 0;
    virtual HRESULT Delete(LPCWSTR) = 0;
    virtual HRESULT GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) = 0;
    virtual HRESULT BeginEnumeration(LONG) = 0;
    virtual HRESULT Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) = 0;
    virtual HRESULT EndEnumeration() = 0;
    virtual HRESULT GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) = 0;
    virtual HRESULT Clone(IWbemClassObject**) = 0;
    virtual HRESULT GetObjectText(LONG, BSTR*) = 0;
    virtual HRESULT SpawnDerivedClass(LONG, IWbemClassObject**) = 0;
    virtual HRESULT SpawnInstance(LONG, IWbemClassObject**) = 0;
    virtual HRESULT CompareTo(LONG, IWbemClassObject*) = 0;
    virtual HRESULT GetPropertyOrigin(LPCWSTR, BSTR*) = 0;
    virtual HRESULT InheritsFrom(LPCWSTR) = 0;
    virtual HRESULT GetMethod(LPCWSTR, LONG, IWbemClassObject**, IWbemClassObject**) = 0;
    virtual HRESULT PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) = 0;
    virtual HRESULT DeleteMethod(LPCWSTR) = 0;
    virtual HRESULT BeginMethodEnumeration(LONG) = 0;
    virtual HRESULT NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) = 0;
    virtual HRESULT EndMethodEnumeration() = 0;
    virtual HRESULT GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) = 0;
    virtual HRESULT GetMethodOrigin(LPCWSTR, BSTR*) = 0;
};

struct IWbemObjectSink : IUnknown {
    virtual HRESULT Indicate(LONG count, IWbemClassObject** objects) = 0;
    virtual HRESULT SetStatus(LONG flags, HRESULT result, BSTR text, IWbemClassObject* object) = 0;
};

struct IWbemServices : IUnknown {
    virtual HRESULT OpenNamespace(BSTR, LONG, IWbemContext*, IWbemServices**, IWbemCallResult**) = 0;
    virtual HRESULT CancelAsyncCall(IWbemObjectSink* sink) = 0;
    virtual HRESULT QueryObjectSink(LONG, IWbemObjectSink**) = 0;
    virtual HRESULT GetObject(BSTR, LONG, IWbemContext*, IWbemClassObject**, IWbemCallResult**) = 0;
    virtual HRESULT GetObjectAsync(BSTR, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) = 0;
    virtual HRESULT PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT DeleteClass(BSTR, LONG, IWbemContext*, IWbemCallResult**) = 0;
    virtual HRESULT DeleteClassAsync(BSTR, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT CreateClassEnum(BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) = 0;
    virtual HRESULT CreateClassEnumAsync(BSTR, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT PutInstance(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) = 0;
    virtual HRESULT PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT DeleteInstance(BSTR, LONG, IWbemContext*, IWbemCallResult**) = 0;
    virtual HRESULT DeleteInstanceAsync(BSTR, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT CreateInstanceEnum(BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) = 0;
    virtual HRESULT CreateInstanceEnumAsync(BSTR, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT ExecQuery(BSTR, BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) = 0;
    virtual HRESULT ExecQueryAsync(BSTR, BSTR, LONG, IWbemContext*, IWbemObjectSink*) = 0;
    virtual HRESULT ExecNotificationQuery(BSTR, BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) = 0;
    virtual HRESULT ExecNotificationQueryAsync(BSTR language, BSTR query, LONG flags, IWbemContext* context,
                                               IWbemObjectSink* sink) = 0;
    virtual HRESULT ExecMethod(BSTR, BSTR, LONG, IWbemContext*, IWbemClassObject*, IWbemClassObject**,
                               IWbemCallResult**) = 0;
    virtual HRESULT ExecMethodAsync(BSTR, BSTR, LONG, IWbemContext*, IWbemClassObject*, IWbemObjectSink*) = 0;
};

struct IWbemLocator : IUnknown {
    virtual HRESULT ConnectServer(BSTR resource, BSTR user, BSTR password, BSTR locale, LONG flags, BSTR authority,
                                  IWbemContext* context, IWbemServices** services) = 0;
};

struct IUnsecuredApartment : IUnknown {
    virtual HRESULT CreateObjectStub(IUnknown* object, IUnknown** stub) = 0;
};

extern const IID IID_IWbemClassObject;
extern const IID IID_IWbemObjectSink;
extern const IID IID_IWbemServices;
extern const IID IID_IWbemLocator;
extern const IID IID_IUnsecuredApartment;
extern const CLSID CLSID_WbemLocator;
extern const CLSID CLSID_UnsecuredApartment;

template<>
inline const IID& idOfInterface<IWbemClassObject>()
{
    return IID_IWbemClassObject;
}
