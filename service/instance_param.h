// The part of an instance's state that threads read and change without touching the instance, and its table.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "foundation/shared_text.h"

struct InstanceParam {
    std::string strServiceId;
    std::wstring strPipeName;
    CSharedText strRunStatusParam;  // JSON text of the running delayed check; as long as the caller made it
    std::int32_t nInterval = 2000;  // milliseconds; 2000 in a value made for reading, 0 in a new table entry
    std::int32_t nDelayedTaskCount = 0;
    bool bDLLWndExist = true;
    bool bIsDelayedDestroy = false;
};

// Operations of a change; any other value of nTaskOp and nDllOp changes nothing, any other one of nDestroyOp clears
// bIsDelayedDestroy.
inline constexpr std::int32_t kParamKeep = -1;
inline constexpr std::int32_t kTaskAdd = 1;
inline constexpr std::int32_t kTaskRemove = 2;
inline constexpr std::int32_t kDllGone = 2;
inline constexpr std::int32_t kDestroyNow = 1;

// What SetInstanceParam changes of an entry. A member with its default leaves what is there.
struct InstanceParamChange {
    std::wstring strPipeName = {};
    CSharedText strRunStatusParam = {};
    std::int32_t nInterval = kParamKeep;  // so a caller cannot store -1
    std::int32_t nTaskOp = kParamKeep;
    std::int32_t nDllOp = kParamKeep;
    std::int32_t nDestroyOp = kParamKeep;
};

// Keyed by service id, compared bytewise and then by length.
using InstanceParamMap = std::map<std::string, InstanceParam>;

// Changes an entry or makes it. Not locked: the caller holds the table's lock.
//
// An empty id changes nothing. A missing entry is inserted with the id and the pipe name, nInterval and
// nDelayedTaskCount 0, and the rest of the change is ignored: callers rely on the first call only making the entry.
void SetInstanceParamIn(InstanceParamMap& table, const std::string& strServiceId, const InstanceParamChange& change);

// Copies the entry to param; false, and param as it was, when there is none.
bool GetInstanceParamFrom(const InstanceParamMap& table, const std::string& strServiceId, InstanceParam& param);

// No task is running, and the caller's pipe is gone or the delayed destroy has run out.
bool IsInstanceFinished(const InstanceParam& param);
