// Module entry helpers: reference-counted objects, their factories, and other modules of the framework.
#pragma once

#include <atomic>

#include "0_Base_i.h"
#include "SmartPtr.h"
#include "StringManipulate.h"

// The host's component collection; null until InitializeModule or the first need.
extern SmartPtr<IComponentCollection> gGlobalComponentCollection;

// The component collection with one reference for the caller, loading "CollectionsEx" when the host gave none; null
// when none can be had.
IComponentCollection* GLOBALComponents();

// The component string registered under `name`, with one reference for the caller, or null.
IComponentString* GetComponentString(IString* name);

// Loads "./_binMAC/<module>.so" and returns its factory for `objectName`; null when there is none. The library stays
// loaded.
FactoryFunction MODULECreateFunction(tagREFString module, tagREFString objectName);

// Diagnostic trace; discards its message.
inline void _TRACE_(const char* /*format*/, ...) {}

// Primary part of a component object: pointer 0, count at byte 8. T declares QueryInterface, AddRef and Release (for
// all its parts at once) through VEL_OBJECT_PARTS and may override the rest.
template <class T>
class CObject : public IUnknown {
public:
    virtual HRESULT FinalConstruct() { return S_OK; }
    virtual void FinalRelease() {}
    virtual void Lock() {}
    virtual void Unlock() {}

    // Factory. `outer` is ignored: there is no aggregation. On failure *object is null and the object is gone.
    static HRESULT _CreateInstance(void* /*outer*/, const IID* iid, void** object) {
        T* instance = new T;
        HRESULT result = instance->FinalConstruct();
        if (result != S_OK) {
            instance->FinalRelease();
            delete instance;
            return result;
        }
        *object = nullptr;
        result = instance->QueryInterface(*iid, object);
        if (Failed(result)) {
            instance->FinalRelease();
            delete instance;
            return result;
        }
        instance->Release();
        return S_OK;
    }

protected:
    uint32_t CountUp() { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    // The decrement's own result decides: of two threads that release at once, one sees 0.
    uint32_t CountDown() { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<uint32_t> m_count{1};
};

template <class T>
class IObjectInfoImpl : public IObjectInfo {
public:
    HRESULT GetName(int32_t /*index*/, tagREFString* name) override {
        *name = m_ObjectName;
        return S_OK;
    }
    static const tagREFString m_ObjectName;
};

// IUnknown of all three parts of class T, whose functional interface is F.
#define VEL_OBJECT_PARTS(T, F)                                       \
    HRESULT QueryInterface(const IID& iid, void** object) override { \
        if (iid == IID_IUnknown) {                                   \
            *object = static_cast<CObject<T>*>(this);                \
        } else if (*object = nullptr; iid == IID_IObjectInfo) {      \
            *object = static_cast<IObjectInfo*>(this);               \
        } else if (iid == IID_##F) {                                 \
            *object = static_cast<F*>(this);                         \
        } else {                                                     \
            return E_NOINTERFACE;                                    \
        }                                                            \
        CountUp();                                                   \
        return S_OK;                                                 \
    }                                                                \
    uint32_t AddRef() override { return CountUp(); }                 \
    uint32_t Release() override {                                    \
        const uint32_t count = CountDown();                          \
        if (count == 0) {                                            \
            FinalRelease();                                          \
            delete this;                                             \
        }                                                            \
        return count;                                                \
    }
