// Who may open what a caller serves.
#pragma once

#include <string>

#include "foundation/windows_headers.h"

// The rights in the system's text form: everything for the user of this process, its logon session and the system,
// nothing for anybody else. Without them the system's default depends on how the process was started, and a helper of
// the same user that runs with more or fewer rights could be kept out. A process of at least medium integrity lets
// processes down to medium integrity in. Empty, with the reason in GetLastError, when the system does not tell who the
// user is.
std::wstring CallerRights();

// The same as what a call that makes an object takes. attributes() is null when the rights could not be made, with the
// reason in GetLastError.
class CCallerSecurity {
  public:
    CCallerSecurity();
    ~CCallerSecurity();
    CCallerSecurity(const CCallerSecurity&) = delete;
    CCallerSecurity& operator=(const CCallerSecurity&) = delete;

    SECURITY_ATTRIBUTES* attributes() { return m_attributes.lpSecurityDescriptor != nullptr ? &m_attributes : nullptr; }

  private:
    SECURITY_ATTRIBUTES m_attributes = {};
};
