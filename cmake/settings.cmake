# What a build may set, and the one header that carries it (settings.h in the build folder).
# Each host is a name, optionally with a port; the code that builds the URL adds the scheme. The defaults are
# reserved names, so that a build without settings sends nothing to any host.
set(NEXLET_STATISTICS_HOST "statistics.nexlet.invalid" CACHE STRING "Host of the statistics beacons (https)")
set(NEXLET_INSTALL_STATISTICS_HOST "install.nexlet.invalid" CACHE STRING "Host of the install beacon (https)")
set(NEXLET_INFO_HOST "info.nexlet.invalid" CACHE STRING "Host of the daily configuration (http)")
set(NEXLET_PROXY_ERROR_HOST "proxyerror.nexlet.invalid" CACHE STRING "Host of the proxy error report (http)")

# What the properties of every file show beside its version.
set(NEXLET_COMPANY_NAME "Nexlet" CACHE STRING "Company in the version information of all files")
set(NEXLET_PRODUCT_NAME "Nexlet" CACHE STRING "Product in the version information of all files")
set(NEXLET_COPYRIGHT "" CACHE STRING "Copyright line in the version information of all files")

# Provides settings.h with the hosts.
configure_file(${CMAKE_SOURCE_DIR}/cmake/settings.h.in ${CMAKE_BINARY_DIR}/settings/nexlet_settings/settings.h @ONLY)
add_library(nexlet_settings INTERFACE)
target_include_directories(nexlet_settings INTERFACE ${CMAKE_BINARY_DIR}/settings/nexlet_settings)
