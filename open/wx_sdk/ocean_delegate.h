// The callback record that the WeChat SDK is given, laid out as the SDK reads it.
#pragma once

#include <cstdint>

// The program exports both assignments, so they are ordinary functions with a body of their own.
struct OceanDelegate {
    // How the SDK calls the first two is not known: they must cope with any arguments.
    using EventFunction = void (*)();
    // Tells how the open with this id ended: 0 is success.
    using OpenResultFunction = void (*)(std::uint32_t id, std::int32_t status);

    OceanDelegate() = default;
    OceanDelegate(const OceanDelegate&) = default;
    OceanDelegate(OceanDelegate&&) = default;
    OceanDelegate& operator=(const OceanDelegate& other);
    OceanDelegate& operator=(OceanDelegate&& other) noexcept;
    ~OceanDelegate() = default;

    EventFunction onEvent0 = nullptr;
    EventFunction onEvent1 = nullptr;
    OpenResultFunction onOpenResult = nullptr;
};

static_assert(sizeof(OceanDelegate) == 3 * sizeof(void*), "The SDK reads three pointers.");
