#include "open/wx_sdk/ocean_delegate.h"

OceanDelegate& OceanDelegate::operator=(const OceanDelegate& other) = default;
OceanDelegate& OceanDelegate::operator=(OceanDelegate&& other) noexcept = default;
