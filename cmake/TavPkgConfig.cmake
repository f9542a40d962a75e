# tav_write_pkg_config(<file>): writes the pkg-config file of the installed
# library. Paths are relative to the file's own folder (${pcfiledir}) when
# the install folders are relative, so the installed tree can be moved.
# Libs.private lists what a static link needs beyond the library itself: the
# C++ runtime (TAV_CXX_RUNTIME_LIBS) and the thread library.
function(tav_pc_path out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()

function(tav_write_pkg_config file)
  if(IS_ABSOLUTE "${TAV_PKGCONFIG_INSTALL_DIR}")
    set(TAV_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  else() # lib/pkgconfig -> ${pcfiledir}/../..
    string(REGEX REPLACE "[^/]+" ".." up "${TAV_PKGCONFIG_INSTALL_DIR}")
    set(TAV_PC_PREFIX "\${pcfiledir}/${up}")
  endif()
  tav_pc_path(TAV_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
  tav_pc_path(TAV_PC_INCLUDEDIR "${TAV_INSTALL_INCLUDEDIR}")
  set(libs "")
  foreach(lib IN LISTS TAV_CXX_RUNTIME_LIBS)
    string(APPEND libs " -l${lib}")
  endforeach()
  if(CMAKE_THREAD_LIBS_INIT)
    string(APPEND libs " ${CMAKE_THREAD_LIBS_INIT}")
  else()
    string(APPEND libs " -lpthread") # in libc since glibc 2.34, a stub there
  endif()
  string(STRIP "${libs}" TAV_PC_LIBS_PRIVATE)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/tav-properties.pc.in ${file} @ONLY)
endfunction()
