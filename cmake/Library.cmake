# The shipped shared library, and the same objects as an archive for tests that look inside: that,
# and the fake platform below, are built only where something is linked with them.
add_library(fsys SHARED $<TARGET_OBJECTS:fsys_objects>)
add_library(fsys_inside STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:fsys_objects>)
foreach(library fsys fsys_inside)
  target_include_directories(${library} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/fsys-1>)
  target_compile_features(${library} PUBLIC cxx_std_20)
  target_link_libraries(${library} PRIVATE $<BUILD_INTERFACE:fsys_options>
    $<BUILD_INTERFACE:PkgConfig::LIBURING> $<BUILD_INTERFACE:PkgConfig::LIBMOUNT>
    $<BUILD_INTERFACE:${fsys_allocator_library}>)
endforeach()
target_link_libraries(fsys_inside INTERFACE $<BUILD_INTERFACE:fsys_options>)

# The number in the file name changes when programs must be built anew.
set(FSYS_VERSION_SCRIPT ${CMAKE_SOURCE_DIR}/packaging/fsys.map)
set_target_properties(fsys PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1
  LINK_DEPENDS ${FSYS_VERSION_SCRIPT})
target_link_options(fsys PRIVATE LINKER:--version-script=${FSYS_VERSION_SCRIPT})
if(NOT FSYS_SANITIZE)
  target_link_options(fsys PRIVATE LINKER:--no-undefined)
endif()

file(GLOB fake_sources CONFIGURE_DEPENDS platform/fake/*.cpp)
if(fake_sources)
  add_library(fsys_fake STATIC EXCLUDE_FROM_ALL ${fake_sources})
  target_link_libraries(fsys_fake PUBLIC fsys_inside)
endif()
