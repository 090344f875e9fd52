// What a host has given to an SDK binding, for any thread.
#pragma once

#include <string>

#include "foundation/lock.h"
#include "foundation/thread_annotations.h"
#include "open/record/channel_config.h"

class CSdkHost {
  public:
    // config: JSON text of the channel, UTF-8. sdkPath: folder of the SDKs. hostTag: kind of host; an "ml" anywhere in
    // it counts. The latest values hold. A config that is not Ok leaves a line in the log in the name of operation. A
    // channel_id of the wrong form throws, and nothing catches it.
    void Take(const wchar_t* operation, const std::string& config, const std::wstring& sdkPath,
              const std::wstring& hostTag);

    // Copies.
    SdkHostData Data() const;
    ChannelConfig Channel() const;

  private:
    mutable CLock m_lock;  // a leaf
    SdkHostData m_data NXL_GUARDED_BY(m_lock);
};
