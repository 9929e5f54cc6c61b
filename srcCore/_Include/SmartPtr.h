// Holds one reference to an interface.
#pragma once

#include <utility>

#include "0_Base_i.h"

template <class T>
class SmartPtr {
public:
    SmartPtr() = default;
    // Takes a reference of its own.
    explicit SmartPtr(T* pointer) : m_pointer(pointer) {
        if (m_pointer) m_pointer->AddRef();
    }
    SmartPtr(const SmartPtr& other) : SmartPtr(other.m_pointer) {}
    SmartPtr(SmartPtr&& other) noexcept : m_pointer(other.Detach()) {}
    ~SmartPtr() { Clear(); }

    // The new reference is taken before the old one is dropped, so assigning what is already held is safe.
    SmartPtr& operator=(T* pointer) {
        SmartPtr(pointer).Swap(*this);
        return *this;
    }
    SmartPtr& operator=(const SmartPtr& other) {
        SmartPtr(other).Swap(*this);
        return *this;
    }
    SmartPtr& operator=(SmartPtr&& other) noexcept {
        SmartPtr(std::move(other)).Swap(*this);
        return *this;
    }

    // Takes over a reference that the caller holds.
    static SmartPtr Adopt(T* pointer) {
        SmartPtr result;
        result.m_pointer = pointer;
        return result;
    }
    // Gives the reference to the caller.
    T* Detach() {
        T* pointer = m_pointer;
        m_pointer = nullptr;
        return pointer;
    }
    // The pointer is null before the old value is released, so a release that comes back here finds nothing.
    void Clear() {
        if (T* pointer = Detach()) pointer->Release();
    }
    // For calls that store a new reference through void**.
    void** Receive() {
        Clear();
        return reinterpret_cast<void**>(&m_pointer);
    }
    void Swap(SmartPtr& other) noexcept { std::swap(m_pointer, other.m_pointer); }

    T* Get() const { return m_pointer; }
    T* operator->() const { return m_pointer; }

    // Identity of objects, not of pointers: two interfaces of one object are equal.
    bool operator==(IUnknown* other) const {
        IUnknown* own = m_pointer;
        if (!own || !other) return own == other;
        SmartPtr<IUnknown> ownObject, otherObject;
        own->QueryInterface(IID_IUnknown, ownObject.Receive());
        other->QueryInterface(IID_IUnknown, otherObject.Receive());
        return ownObject.Get() == otherObject.Get();
    }

private:
    T* m_pointer = nullptr;
};
