# What `cmake --install` puts where. Nothing is installed with an absolute path and the run paths are
# relative, so the installed tree can be moved.
include(CMakePackageConfigHelpers)

foreach(folder IN ITEMS BINDIR INCLUDEDIR LIBDIR)
  if(KSPROXY_INSTALL AND IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${folder} must be relative to the prefix: the installed tree can be moved")
  endif()
endforeach()

set(KSPROXY_INCLUDE_FOLDER "${CMAKE_INSTALL_INCLUDEDIR}/ksproxy")
set(KSPROXY_CMAKE_FOLDER "${CMAKE_INSTALL_LIBDIR}/cmake/KsProxy")
set(KSPROXY_PKGCONFIG_FOLDER "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
set(KSPROXY_ZSH_COMPLETION_FOLDER "${CMAKE_INSTALL_DATADIR}/zsh/site-functions"
  CACHE STRING "Where the completion for zsh is installed, below the prefix")

# A path as it is reached from a folder of the installed tree.
function(ksproxy_relative_path variable from to)
  file(RELATIVE_PATH path "/prefix/${from}" "/prefix/${to}")
  set(${variable} "${path}" PARENT_SCOPE)
endfunction()

# ksproxy_install_library(<target> DESCRIPTION <text> HEADERS <file>... [REQUIRES <pkg-config name>...])
# The library, its public headers and its pkg-config file.
function(ksproxy_install_library target)
  if(NOT KSPROXY_INSTALL)
    return()
  endif()
  cmake_parse_arguments(ARG "" "DESCRIPTION" "HEADERS;REQUIRES" ${ARGN})
  get_target_property(export_header ${target} KSPROXY_EXPORT_HEADER)
  set_target_properties(${target} PROPERTIES
    PUBLIC_HEADER "${ARG_HEADERS};${export_header}"
    INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${target} EXPORT KsProxyTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Runtime NAMELINK_COMPONENT Development
    PUBLIC_HEADER DESTINATION "${KSPROXY_INCLUDE_FOLDER}" COMPONENT Development)

  ksproxy_relative_path(prefix "${KSPROXY_PKGCONFIG_FOLDER}" "")
  list(JOIN ARG_REQUIRES ", " requires)
  set(name ${target})
  set(description "${ARG_DESCRIPTION}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/library.pc.in" "${CMAKE_CURRENT_BINARY_DIR}/${target}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${target}.pc"
    DESTINATION "${KSPROXY_PKGCONFIG_FOLDER}" COMPONENT Development)
endfunction()

# A program with its manual page.
function(ksproxy_install_program target manual)
  if(NOT KSPROXY_INSTALL)
    return()
  endif()
  ksproxy_relative_path(libraries "${CMAKE_INSTALL_BINDIR}" "${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${target} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Tools)
  install(FILES ${manual} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT Tools)
endfunction()

# What makes find_package(KsProxy) work, and the target `uninstall` where the project is not part of another.
function(ksproxy_install_package)
  if(NOT KSPROXY_INSTALL)
    return()
  endif()
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/KsProxyConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/KsProxyConfig.cmake" INSTALL_DESTINATION "${KSPROXY_CMAKE_FOLDER}")
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/KsProxyConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
  install(FILES "${PROJECT_BINARY_DIR}/KsProxyConfig.cmake"
    "${PROJECT_BINARY_DIR}/KsProxyConfigVersion.cmake"
    DESTINATION "${KSPROXY_CMAKE_FOLDER}" COMPONENT Development)
  install(EXPORT KsProxyTargets NAMESPACE KsProxy::
    DESTINATION "${KSPROXY_CMAKE_FOLDER}" COMPONENT Development)
  if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall
      COMMAND "${PROJECT_SOURCE_DIR}/cmake/uninstall.sh" "${PROJECT_BINARY_DIR}/install_manifest.txt"
      VERBATIM)
  endif()
endfunction()
