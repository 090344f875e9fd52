// Dumps of a crashing process, when the registry asks for them.
#pragma once

// When the value debug_dump is 1 in the registry, as debug_log is for the log: from now on a fault that nothing
// handles, and an exception that nothing catches, leave a minidump C:\temp\zolt\NexletPID.dmp before the process ends
// as it would have ended. Without the value nothing changes. Once, at the start.
void KeepCrashDumps();

// Writes the dump, if dumps are kept, with the calling thread as the one at fault and nCode for the code of its
// exception. Waits at most a minute for it.
void DumpThisThread(unsigned long nCode);

// Whether a dump is being written or was written: the process is about to end over its crash, and nothing else should
// end it first. Any thread.
bool IsCrashUnderWay();
