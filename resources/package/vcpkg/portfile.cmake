# An overlay port that installs the archive it was unpacked from:
#   vcpkg install nexlet:x64-windows --overlay-ports=FOLDER_OF_THE_PACKAGE/packaging/vcpkg
get_filename_component(package "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

# One DLL serves programs of both configurations: its interface is C, and it has its own runtime library inside.
set(VCPKG_POLICY_MISMATCHED_NUMBER_OF_BINARIES enabled)
set(VCPKG_POLICY_ALLOW_EXES_IN_BIN enabled)
set(VCPKG_BUILD_TYPE release)

file(INSTALL "${package}/include/nexlet_client.h" "${package}/include/nexlet_client.hpp"
     DESTINATION "${CURRENT_PACKAGES_DIR}/include")
set(client "${package}")
if(VCPKG_TARGET_ARCHITECTURE STREQUAL "x86")
  set(client "${package}/x86")
endif()
file(INSTALL "${client}/bin/nexlet_client.dll" "${package}/bin/nexlet.exe" DESTINATION "${CURRENT_PACKAGES_DIR}/bin")
file(INSTALL "${client}/lib/nexlet_client.lib" "${client}/lib/nexlet_client.dll.a"
     DESTINATION "${CURRENT_PACKAGES_DIR}/lib")
file(INSTALL "${package}/lib/cmake/nexlet" DESTINATION "${CURRENT_PACKAGES_DIR}/lib/cmake")
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/nexlet)

file(INSTALL "${package}/licenses/THIRD-PARTY.md" DESTINATION "${CURRENT_PACKAGES_DIR}/share/nexlet" RENAME copyright)
file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/nexlet")
