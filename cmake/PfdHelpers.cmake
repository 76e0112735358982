# pfd_platform_sources(<out-var> <dir>)
# Collects the .cpp files of a folder. Platform variants live side by side as
# name_win.cpp and name_unix.cpp; only the one for the target platform is built.
function(pfd_platform_sources out dir)
  file(GLOB _all CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.h)
  set(_keep)
  foreach(f IN LISTS _all)
    if(WIN32 AND f MATCHES "_unix\\.cpp$")
      continue()
    endif()
    if(NOT WIN32 AND f MATCHES "_win\\.cpp$")
      continue()
    endif()
    list(APPEND _keep ${f})
  endforeach()
  set(${out} ${_keep} PARENT_SCOPE)
endfunction()

# pfd_host_library(<name> <qt-libs...>)
# One shared library per host library, built from the files of its folder.
# The public headers sit in the folder itself; a host SDK build replaces the
# whole target by the real library of the same name.
function(pfd_host_library name)
  pfd_platform_sources(_src ${CMAKE_CURRENT_SOURCE_DIR})
  add_library(${name} SHARED ${_src})
  string(TOUPPER ${name} _up)
  target_compile_definitions(${name} PRIVATE ${_up}_LIBRARY)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:include/host/${name}>)
  target_link_libraries(${name} PUBLIC ${ARGN})
  install(TARGETS ${name} EXPORT ProjectFileDialogTargets
    LIBRARY DESTINATION lib RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
  file(GLOB _hdr CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  list(FILTER _hdr EXCLUDE REGEX "_p\\.h$")
  install(FILES ${_hdr} DESTINATION include/host/${name})
endfunction()
