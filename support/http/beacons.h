// Statistics beacons: bare GETs whose URL says what happened. Any thread; no caller waits for them.
#pragma once

#include <string>

// What a beacon may do for the worker that fetches it.
enum class BeaconWorker {
    StartAtNeed,
    AsItIs,  // no thread is started: without a worker the beacon is lost
};

// Sends url followed by a cache-breaking number t and the machine id m. bHasQuery says that url already carries a
// query, so that "&" and not "?" comes first.
void ReportStaticWithMIDImp(const std::wstring& url, bool bHasQuery, BeaconWorker worker = BeaconWorker::StartAtNeed);

// Sends url with the machine id m alone.
void ReportYYBInstWithMID(const std::wstring& url);

// Sends url unchanged. Empty text does nothing.
void ReportDot(const std::wstring& url);

// The machine id that beacons carry from now on.
void SetBeaconMachineId(const std::wstring& machineId);
