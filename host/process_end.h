// The ways in which the process ends other than by its last window.
#pragma once

// Installs what ends the process without a dialog: exit code 0 for an invalid argument to a function of the runtime, 3
// for an exception that nothing catches, which is logged first. Once, at the start.
void EndSilentlyOnFaults();

// Uninitialises the closed SDKs that were initialised. Main thread, at the shutdown.
void UninitializeSdks();
