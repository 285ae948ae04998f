# cmake --install puts the command line, the libraries, the public header (with
# the host kit's headers it includes) and a CMake package under a prefix:
#   find_package(Rastrum CONFIG) then target_link_libraries(app Rastrum::rastrum).
# Installed files find each other through relative RPATHs, so the prefix can move.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(rastrum velum PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(rastrum-cli PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

install(TARGETS rastrum velum EXPORT RastrumTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS rastrum-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/Rastrum.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(RASTRUM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Rastrum)
install(EXPORT RastrumTargets NAMESPACE Rastrum:: DESTINATION ${RASTRUM_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/RastrumConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/RastrumConfig.cmake INSTALL_DESTINATION ${RASTRUM_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/RastrumConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/RastrumConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/RastrumConfigVersion.cmake
  DESTINATION ${RASTRUM_CMAKE_DIR})
