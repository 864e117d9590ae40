# The shipped shared library, and the same objects as an archive for tests that look inside.
add_library(fsys SHARED $<TARGET_OBJECTS:fsys_objects>)
add_library(fsys_inside STATIC $<TARGET_OBJECTS:fsys_objects>)
foreach(library fsys fsys_inside)
  target_include_directories(${library} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/fsys-1>)
  target_compile_features(${library} PUBLIC cxx_std_20)
  target_link_libraries(${library} PRIVATE $<BUILD_INTERFACE:fsys_options> PkgConfig::LIBURING
    PkgConfig::LIBMOUNT ${fsys_allocator_library})
endforeach()
target_link_libraries(fsys_inside INTERFACE $<BUILD_INTERFACE:fsys_options>)

file(GLOB fake_sources CONFIGURE_DEPENDS platform/fake/*.cpp)
if(fake_sources)
  add_library(fsys_fake STATIC ${fake_sources})
  target_link_libraries(fsys_fake PUBLIC fsys_inside)
endif()
