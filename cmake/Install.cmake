# What `cmake --install` lays down: the library, the headers that its users need, the files by which
# CMake and pkg-config find it, and the tool. The installed tree may be moved as a whole. Components
# part it: `runtime` is what programs need, `development` what compilers need, `tools` the program,
# and `documents` what a system's own packages keep in places of their own.
include(CMakePackageConfigHelpers)

# The platform's headers that `header` needs, itself included, added to `result`.
function(fsys_headers_behind header result)
  set(found ${${result}})
  if(header IN_LIST found)
    return()
  endif()
  list(APPEND found ${header})
  set(path ${CMAKE_SOURCE_DIR}/${header})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
  file(STRINGS ${path} lines REGEX "^#include \"platform/[A-Za-z]+\\.h\"")
  foreach(line ${lines})
    string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" next "${line}")
    fsys_headers_behind(${next} found)
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

file(GLOB public_headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} include/fsys/*.h)
set(fsys_platform_headers)
# What no public header needs, but programs do: the services, where the library's texts go, paths, and
# questions to drives that may fall silent.
foreach(header platform/OS.h platform/Log.h platform/PathHelpers.h platform/DriveErrand.h)
  fsys_headers_behind(${header} fsys_platform_headers)
endforeach()
foreach(header ${public_headers})
  fsys_headers_behind(${header} fsys_platform_headers)
endforeach()
list(FILTER fsys_platform_headers INCLUDE REGEX "^platform/")

set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/fsys-1)
install(FILES ${public_headers} DESTINATION ${header_dir}/fsys COMPONENT development)
install(FILES ${fsys_platform_headers} DESTINATION ${header_dir}/platform COMPONENT development)
install(TARGETS fsys EXPORT fsys-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  COMPONENT runtime NAMELINK_COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/fsys)
install(EXPORT fsys-targets NAMESPACE fsys:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(packaging/fsys-config.cmake.in
  ${CMAKE_BINARY_DIR}/fsys-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/fsys-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/fsys-config.cmake ${CMAKE_BINARY_DIR}/fsys-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)

# fsys.pc finds its prefix from where it lies itself.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH FSYS_PC_TO_PREFIX ${CMAKE_INSTALL_PREFIX}/${pc_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" FSYS_PC_TO_PREFIX "${FSYS_PC_TO_PREFIX}")
configure_file(packaging/fsys.pc.in ${CMAKE_BINARY_DIR}/fsys.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/fsys.pc DESTINATION ${pc_dir} COMPONENT development)

# The tool's program is called fsys like the library, so its target has another name.
if(TARGET fsys_tool)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}
    ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
  set_target_properties(fsys_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS fsys_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
