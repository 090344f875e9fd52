# What the package holds, as install rules by component, and what tools/package must know to describe it.
#
#   program    bin/nexlet.exe, bin/nexctl.exe
#   client     the caller's library with headers, import libraries and CMake package
#   documents  docs/, licenses/ and the example of a caller
#   symbols    the debug information of all three, under the names that they refer to; with clang their PDB files too
#   world      bin/nexlet-world.exe, bin/nexlet-standin.exe, the stand-ins that they start, and example scenarios
include(CMakePackageConfigHelpers)
include(reference)

install(TARGETS nexlet nexctl RUNTIME DESTINATION bin COMPONENT program)

install(TARGETS nexlet_client EXPORT nexlet
  RUNTIME DESTINATION bin COMPONENT client
  ARCHIVE DESTINATION lib COMPONENT client
  PUBLIC_HEADER DESTINATION include COMPONENT client)
set_target_properties(nexlet_client PROPERTIES EXPORT_NAME client)
# For Microsoft's linker, and for compilers that make an import library of their own.
install(FILES ${CMAKE_BINARY_DIR}/client/nexlet_client.lib ${CMAKE_SOURCE_DIR}/client/nexlet_client.def
  ${CMAKE_BINARY_DIR}/client/libnexlet_client_static.a
  DESTINATION lib COMPONENT client)

set(package_folder ${CMAKE_BINARY_DIR}/package)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/nexlet-config.cmake.in ${package_folder}/nexlet-config.cmake
  INSTALL_DESTINATION lib/cmake/nexlet NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${package_folder}/nexlet-config-version.cmake COMPATIBILITY SameMajorVersion
  # nexlet-config.cmake refuses another architecture, with its reason.
  ARCH_INDEPENDENT)
install(FILES ${package_folder}/nexlet-config.cmake ${package_folder}/nexlet-config-version.cmake
  DESTINATION lib/cmake/nexlet COMPONENT client)
install(EXPORT nexlet NAMESPACE nexlet:: FILE nexlet-targets.cmake DESTINATION lib/cmake/nexlet COMPONENT client)

# For other ways of building: pkg-config, a vcpkg port and a NuGet package.
set(package_sources ${CMAKE_SOURCE_DIR}/resources/package)
foreach(file nexlet_client.pc nexlet_client_static.pc)
  configure_file(${package_sources}/${file}.in ${package_folder}/${file} @ONLY)
  install(FILES ${package_folder}/${file} DESTINATION lib/pkgconfig COMPONENT client)
endforeach()
configure_file(${package_sources}/vcpkg/vcpkg.json.in ${package_folder}/vcpkg.json @ONLY)
install(FILES ${package_folder}/vcpkg.json ${package_sources}/vcpkg/portfile.cmake ${package_sources}/vcpkg/usage
  DESTINATION packaging/vcpkg/nexlet COMPONENT client)
configure_file(${package_sources}/nuget/nexlet.nuspec.in ${package_folder}/nexlet.nuspec @ONLY)
install(FILES ${package_folder}/nexlet.nuspec ${package_sources}/nuget/nexlet.targets
  DESTINATION packaging/nuget COMPONENT client)

foreach(target nexlet nexctl nexlet_client)
  install(FILES $<TARGET_FILE:${target}>.debug DESTINATION bin COMPONENT symbols)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # tools/package moves it to where a symbol server has it.
    install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.pdb DESTINATION bin COMPONENT symbols)
  endif()
endforeach()

install(TARGETS nexlet-world nexlet-standin RUNTIME DESTINATION bin COMPONENT world)
install(DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/world DESTINATION bin COMPONENT world PATTERN .signed EXCLUDE)
install(FILES ${CMAKE_SOURCE_DIR}/world/README.md DESTINATION world COMPONENT world)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples/conformance ${CMAKE_SOURCE_DIR}/examples/world DESTINATION examples
  COMPONENT world)
install(FILES ${CMAKE_SOURCE_DIR}/resources/THIRD-PARTY.md DESTINATION licenses COMPONENT world)

# What to read first, in each archive. Two of them are unpacked over the first.
foreach(page README:documents README-world:world README-symbols:symbols)
  string(REPLACE ":" ";" page ${page})
  list(POP_FRONT page name component)
  configure_file(${package_sources}/${name}.md.in ${package_folder}/${name}.md @ONLY)
  install(FILES ${package_folder}/${name}.md DESTINATION . COMPONENT ${component})
endforeach()

# The pages that are of use without the sources.
foreach(page package client crash nexctl nexlet glossary protocol troubleshooting refusals log-lines registry beacons envelope signer-check threats windows)
  install(FILES ${CMAKE_SOURCE_DIR}/docs/${page}.md DESTINATION docs COMPONENT documents)
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/docs/pictures/doctor.png ${CMAKE_SOURCE_DIR}/docs/pictures/timeline.png
  DESTINATION docs/pictures COMPONENT documents)
install(FILES ${reference_folder}/reference.html DESTINATION docs COMPONENT documents)
install(FILES ${CMAKE_SOURCE_DIR}/CHANGELOG.md DESTINATION . COMPONENT documents)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples DESTINATION . COMPONENT documents
  PATTERN conformance EXCLUDE PATTERN world EXCLUDE)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/tests/data/exchanges DESTINATION examples COMPONENT documents)

# nexlet_distribution_version(PACKAGE OUT): the version of a package of the distribution, or nothing.
find_program(NEXLET_DPKG_QUERY dpkg-query)
function(nexlet_distribution_version package out)
  set(version "")
  if(NEXLET_DPKG_QUERY)
    execute_process(COMMAND ${NEXLET_DPKG_QUERY} -W -f "\${Version}" ${package}
                    OUTPUT_VARIABLE version ERROR_QUIET RESULT_VARIABLE failed)
    if(NOT failed EQUAL 0)
      set(version "")
    endif()
  endif()
  set(${out} "${version}" PARENT_SCOPE)
endfunction()

# nexlet_install_license(NAME TEXT NOTICE): licenses/NAME.txt, the text that came with the component, or else the notice.
function(nexlet_install_license name text notice)
  if(NOT EXISTS ${text})
    set(text ${package_folder}/${name}.txt)
    file(CONFIGURE OUTPUT ${text} CONTENT "@notice@\n" @ONLY)
  endif()
  foreach(component documents world)
    install(FILES ${text} DESTINATION licenses RENAME ${name}.txt COMPONENT ${component})
  endforeach()
endfunction()

nexlet_install_license(jsoncpp ${jsoncpp_source}/LICENSE
  "JsonCpp is in the public domain, or under the MIT licence where there is no such thing.")
nexlet_install_license(mingw-w64 /usr/share/doc/mingw-w64-x86-64-dev/copyright
  "The mingw-w64 runtime is under the Zope Public License 2.1, parts of it under others of that kind; winpthreads is under the MIT licence and the BSD licence of three clauses.")
nexlet_install_license(gcc-runtime /usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright
  "libgcc, libstdc++ and libssp are under the GNU General Public License 3 with the GCC Runtime Library Exception 3.1, which lets programs that were compiled with gcc be passed on under any terms.")
install(FILES ${CMAKE_SOURCE_DIR}/resources/THIRD-PARTY.md DESTINATION licenses COMPONENT documents)
nexlet_install_license(zlib /usr/share/doc/libz-mingw-w64-dev/copyright
  "zlib is (C) 1995-2022 Jean-loup Gailly and Mark Adler, under the zlib licence.")

nexlet_distribution_version(libz-mingw-w64-dev zlib_package_version)
nexlet_distribution_version(mingw-w64-x86-64-dev mingw_package_version)
nexlet_distribution_version(gcc-mingw-w64-x86-64-posix gcc_package_version)
# Of the client library for 32-bit callers, which tools/package takes from a build of its own (package_x86.cmake).
nexlet_distribution_version(mingw-w64-i686-dev mingw_x86_package_version)
nexlet_distribution_version(gcc-mingw-w64-i686-posix gcc_x86_package_version)
configure_file(${CMAKE_SOURCE_DIR}/cmake/package_facts.json.in ${package_folder}/facts.json @ONLY)
