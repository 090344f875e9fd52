// A flag for the length of a scope.
#pragma once

// Sets the flag, and clears it at the end of the scope.
class CScopedFlag {
  public:
    explicit CScopedFlag(bool& flag) : m_flag(flag) { m_flag = true; }
    ~CScopedFlag() { m_flag = false; }
    CScopedFlag(const CScopedFlag&) = delete;
    CScopedFlag& operator=(const CScopedFlag&) = delete;

  private:
    bool& m_flag;
};
