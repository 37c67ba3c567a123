# What `cmake --install` puts under the prefix: the public headers, the
# shared library (versioned, SONAME libtessarin.so.1) and the static one,
# a CMake package (find_package(Tessarin) -> Tessarin::tessarin, and with
# COMPONENTS static -> Tessarin::tessarin_static) and tessarin.pc.
include(CMakePackageConfigHelpers)

set(TESSARIN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Tessarin)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tessarin
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

install(TARGETS tessarin EXPORT TessarinTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS tessarin_static EXPORT TessarinStaticTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

install(EXPORT TessarinTargets NAMESPACE Tessarin:: DESTINATION ${TESSARIN_CMAKE_DIR})
install(EXPORT TessarinStaticTargets NAMESPACE Tessarin:: DESTINATION ${TESSARIN_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TessarinConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TessarinConfig.cmake
  INSTALL_DESTINATION ${TESSARIN_CMAKE_DIR})
# Same major version, this version or newer.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TessarinConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TessarinConfig.cmake ${PROJECT_BINARY_DIR}/TessarinConfigVersion.cmake
  DESTINATION ${TESSARIN_CMAKE_DIR})

# tessarin.pc finds the prefix from its own place, so the installed tree can
# be moved (or installed with `cmake --install --prefix` elsewhere than
# configured).
set(TESSARIN_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(TESSARIN_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  cmake_path(ABSOLUTE_PATH TESSARIN_PKGCONFIG_DIR BASE_DIRECTORY /prefix OUTPUT_VARIABLE _tessarin_pc_dir)
  file(RELATIVE_PATH _tessarin_pc_up ${_tessarin_pc_dir} /prefix)
  string(REGEX REPLACE "/$" "" _tessarin_pc_up "${_tessarin_pc_up}")
  set(TESSARIN_PC_PREFIX "\${pcfiledir}/${_tessarin_pc_up}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(TESSARIN_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(TESSARIN_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/tessarin.pc.in ${PROJECT_BINARY_DIR}/tessarin.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessarin.pc DESTINATION ${TESSARIN_PKGCONFIG_DIR})
