# What a build may set, and the one header that carries it (settings.h in the build folder).
# Each host is a name, optionally with a port; the code that builds the URL adds the scheme. The defaults are
# reserved names, so that a build without settings sends nothing to any host.
set(NEXLET_STATISTICS_HOST "statistics.nexlet.invalid" CACHE STRING "Host of the statistics beacons (https)")
set(NEXLET_INSTALL_STATISTICS_HOST "install.nexlet.invalid" CACHE STRING "Host of the install beacon (https)")
set(NEXLET_INFO_HOST "info.nexlet.invalid" CACHE STRING "Host of the daily configuration (http)")
set(NEXLET_PROXY_ERROR_HOST "proxyerror.nexlet.invalid" CACHE STRING "Host of the proxy error report (http)")

# Who makes the product: in the version information of all programs, in the bills of materials and in the package files.
set(NEXLET_COMPANY_NAME "Nexlet" CACHE STRING "Company in the version information, supplier in the bills of materials")
set(NEXLET_PRODUCT_NAME "Nexlet" CACHE STRING "Product in the version information")
set(NEXLET_AUTHOR "${NEXLET_COMPANY_NAME}" CACHE STRING "Author in the bills of materials and in the NuGet package")
set(NEXLET_COPYRIGHT "Copyright ${NEXLET_COMPANY_NAME}" CACHE STRING "Copyright line in the version information and the bills")
foreach(name COMPANY_NAME PRODUCT_NAME AUTHOR COPYRIGHT)
  # They go into resource scripts, JSON and XML as they are.
  if(NEXLET_${name} MATCHES "[\"\\<>&\n]")
    message(FATAL_ERROR "NEXLET_${name} must not contain quotation marks, backslashes, angle brackets, ampersands or line ends.")
  endif()
  if(NEXLET_${name} STREQUAL "" AND NOT name STREQUAL COPYRIGHT)
    message(FATAL_ERROR "NEXLET_${name} must not be empty.")
  endif()
endforeach()

# Provides settings.h with the hosts.
configure_file(${CMAKE_SOURCE_DIR}/cmake/settings.h.in ${CMAKE_BINARY_DIR}/settings/nexlet_settings/settings.h @ONLY)
add_library(nexlet_settings INTERFACE)
target_include_directories(nexlet_settings INTERFACE ${CMAKE_BINARY_DIR}/settings/nexlet_settings)
