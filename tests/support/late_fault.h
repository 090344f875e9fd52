// A fault in the place of one function of a late library, for the length of a scope.
#pragma once

#include "foundation/late_library.h"

template <typename Function>
class CLateFault {
  public:
    CLateFault(CLateFunction<Function>& function, Function fault) : m_function(function) { m_function.Override(fault); }
    ~CLateFault() { m_function.Override(nullptr); }
    CLateFault(const CLateFault&) = delete;
    CLateFault& operator=(const CLateFault&) = delete;

  private:
    CLateFunction<Function>& m_function;
};
