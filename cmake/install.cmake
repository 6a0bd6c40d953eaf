# What `cmake --install` puts in place: library, headers, command, man page, and the files by which CMake and
# pkg-config find them.
include(CMakePackageConfigHelpers)

install(TARGETS orvkit EXPORT orvkitTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/orvkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h" PATTERN "*.def" REGEX "/(deflate|image|index|render|tls)\\.h$" EXCLUDE)
install(EXPORT orvkitTargets NAMESPACE orvkit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvkit)

# The libraries beside the core are components: installed alone by `cmake --install ... --component deflate`, and asked
# for by find_package(orvkit COMPONENTS deflate). Each has a header of its name.
foreach(component deflate image index tls)
  if(TARGET orvkit_${component})
    string(SUBSTRING ${component} 0 1 first)
    string(TOUPPER ${first} first)
    string(REGEX REPLACE "^." ${first} capitalized ${component})
    set_target_properties(orvkit_${component} PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS orvkit_${component} EXPORT orvkit${capitalized}Targets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT ${component}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
    install(FILES include/orvkit/${component}.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvkit COMPONENT ${component})
    install(EXPORT orvkit${capitalized}Targets NAMESPACE orvkit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvkit
            COMPONENT ${component})
  endif()
endforeach()
install(FILES include/orvkit/render.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvkit COMPONENT image)

if(ORVKIT_TOOLS)
  # Finds the library beside it, wherever the prefix is.
  file(RELATIVE_PATH from_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(orvkit_command PROPERTIES INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}")
  install(TARGETS orvkit_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES docs/orvkit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    configure_file(packaging/orvkit.service.in ${PROJECT_BINARY_DIR}/orvkit.service @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/orvkit.service DESTINATION lib/systemd/system)
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    set(completion ${PROJECT_BINARY_DIR}/completion)
    install(FILES ${completion}/orvkit DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${completion}/_orvkit DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  endif()
endif()

configure_package_config_file(packaging/orvkitConfig.cmake.in ${PROJECT_BINARY_DIR}/orvkitConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvkit)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvkitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvkitConfig.cmake ${PROJECT_BINARY_DIR}/orvkitConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvkit)

file(RELATIVE_PATH from_pkgconfig_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(packaging/orvkit.pc.in ${PROJECT_BINARY_DIR}/orvkit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvkit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
foreach(component deflate image index tls)
  if(TARGET orvkit_${component})
    configure_file(packaging/orvkit_${component}.pc.in ${PROJECT_BINARY_DIR}/orvkit_${component}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/orvkit_${component}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT ${component})
  endif()
endforeach()
