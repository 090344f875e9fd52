# What a build may set, and the one header that carries it (settings.h in the build folder).
# Each host is a name, optionally with a port; the scheme stands in the code that builds the URL. The defaults are
# reserved names, so that a build nobody configured sends nothing to anyone.
set(NEXLET_STATISTICS_HOST "statistics.nexlet.invalid" CACHE STRING "Host of the statistics beacons (https)")
set(NEXLET_INSTALL_STATISTICS_HOST "install.nexlet.invalid" CACHE STRING "Host of the install beacon (https)")
set(NEXLET_INFO_HOST "info.nexlet.invalid" CACHE STRING "Host of the daily configuration (http)")
set(NEXLET_PROXY_ERROR_HOST "proxyerror.nexlet.invalid" CACHE STRING "Host of the proxy error report (http)")

# nexlet_add_settings(TARGET ...): an interface target that brings settings.h with the given hosts.
function(nexlet_add_settings target statistics install info proxy_error)
  set(NEXLET_SETTING_STATISTICS_HOST ${statistics})
  set(NEXLET_SETTING_INSTALL_STATISTICS_HOST ${install})
  set(NEXLET_SETTING_INFO_HOST ${info})
  set(NEXLET_SETTING_PROXY_ERROR_HOST ${proxy_error})
  set(folder ${CMAKE_BINARY_DIR}/settings/${target})
  configure_file(${CMAKE_SOURCE_DIR}/cmake/settings.h.in ${folder}/settings.h @ONLY)
  add_library(${target} INTERFACE)
  target_include_directories(${target} INTERFACE ${folder})
endfunction()

nexlet_add_settings(nexlet_settings ${NEXLET_STATISTICS_HOST} ${NEXLET_INSTALL_STATISTICS_HOST} ${NEXLET_INFO_HOST}
                    ${NEXLET_PROXY_ERROR_HOST})
