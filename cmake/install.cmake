# cmake --install: header, libraries, shell, data, pkg-config file and CMake package. Everything
# finds its neighbours relative to itself, so the installed tree may be moved.
set(CMAKE_INSTALL_LIBDIR lib CACHE STRING "Directory of the libraries; the data is ../share/zut")
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(FILES include/zut.h DESTINATION include)
install(DIRECTORY share/ DESTINATION share/zut)
install(TARGETS zut EXPORT zut
  RUNTIME DESTINATION bin LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(NOT WIN32)
  file(RELATIVE_PATH libraries /bin /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(zutsh PROPERTIES INSTALL_RPATH "\$ORIGIN/${libraries}")
endif()
install(TARGETS zutsh RUNTIME DESTINATION bin)
install(TARGETS ${ZUT_DRIVERS}
  LIBRARY DESTINATION $<IF:$<BOOL:${WIN32}>,bin,${CMAKE_INSTALL_LIBDIR}>/drivers)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/zut)
install(EXPORT zut NAMESPACE zut:: FILE zutConfig.cmake DESTINATION ${package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zutConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zutConfigVersion.cmake DESTINATION ${package})

file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(zut.pc.in zut.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zut.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
