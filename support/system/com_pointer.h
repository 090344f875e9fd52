// An owner of one reference to a COM object.
#pragma once

#include "foundation/windows_headers.h"

#include <unknwn.h>

#include <utility>

template <typename Interface>
class CComPointer {
  public:
    CComPointer() = default;
    ~CComPointer() { Release(); }
    CComPointer(const CComPointer&) = delete;
    CComPointer& operator=(const CComPointer&) = delete;

    // Where a function puts a reference that becomes this owner's; what was held is released.
    void** Receive() {
        Release();
        return reinterpret_cast<void**>(&m_pObject);
    }
    Interface** ReceiveTyped() {
        Release();
        return &m_pObject;
    }

    void Release() {
        if (Interface* const object = std::exchange(m_pObject, nullptr)) {
            object->Release();
        }
    }

    Interface* Get() const { return m_pObject; }
    Interface* operator->() const { return m_pObject; }

  private:
    Interface* m_pObject = nullptr;
};
