#!/usr/bin/env python3
"""That the compiler refuses what the annotations of the locks forbid.  lock_checks_test.py CLANG TARGET SOURCE_DIR"""
import subprocess
import sys
import unittest

CLANG, TARGET, SOURCE_DIR = sys.argv[1:4]

CLASS = """
#include "client/native_lock.h"
#include "foundation/lock.h"

class CCounted {
  public:
    int Read();
    void Both();

  private:
    int ReadHeld() NXL_REQUIRES(m_lock) { return m_nCount; }

    CLock m_lockFirst NXL_ACQUIRED_BEFORE(m_lock);
    CLock m_lock;
    int m_nCount NXL_GUARDED_BY(m_lock) = 0;
    CNativeLock m_native;
    int m_nNative NXL_GUARDED_BY(m_native) = 0;
};
"""
# With the words of the refusal; none for what is right.
BODIES = {
    "int CCounted::Read() { const CAutoLock lock(&m_lock); return m_nCount; }": "",
    "int CCounted::Read() { return m_nCount; }": "requires holding lock 'm_lock'",
    "int CCounted::Read() { const CAutoLock lock(&m_lockFirst); return m_nCount; }": "requires holding lock 'm_lock'",
    "int CCounted::Read() { const CAutoLock lock(&m_lock); return ReadHeld(); }": "",
    "int CCounted::Read() { return ReadHeld(); }": "requires holding lock 'm_lock'",
    "void CCounted::Both() { const CAutoLock one(&m_lockFirst); const CAutoLock two(&m_lock); }": "",
    "void CCounted::Both() { const CAutoLock one(&m_lock); const CAutoLock two(&m_lockFirst); }":
        "'m_lockFirst' must be acquired before 'm_lock'",
    "int CCounted::Read() { const CNativeGuard lock(m_native); return m_nNative; }": "",
    "int CCounted::Read() { return m_nNative; }": "requires holding lock 'm_native'",
    "int CCounted::Read() { CNativeHold lock(m_native); lock.Release(); lock.Take(); return m_nNative; }": "",
    "int CCounted::Read() { CNativeHold lock(m_native); lock.Release(); return m_nNative; }":
        "requires holding lock 'm_native'",
}


class LockChecksTest(unittest.TestCase):
    def test_what_the_annotations_forbid_is_an_error_and_what_they_allow_is_not(self):
        for body, refusal in BODIES.items():
            with self.subTest(body):
                done = subprocess.run(
                    [CLANG, f"--target={TARGET}", "-std=c++20", "-DNOMINMAX", "-fsyntax-only", "-Wthread-safety",
                     "-Wthread-safety-beta", "-Werror", f"-I{SOURCE_DIR}", "-xc++", "-"],
                    input=CLASS + body, text=True, capture_output=True)
                self.assertEqual(done.returncode, 1 if refusal else 0, done.stderr)
                self.assertIn(refusal, done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
