# What is installed, and how users find it: include/LoamTunnel with the folders of the source, the library, its
# CMake package, its pkg-config file, the program, manual pages, completions, printers for gdb. All of it can be moved
# as a whole. Components: library, dev, tools, python; a package each, see cmake/LoamPackage.cmake.

include(CMakePackageConfigHelpers)

set(LOAM_COMPONENTS library dev tools)
set(LOAM_PACKAGES libloamtunnel${LOAM_SOVERSION} libloamtunnel-dev loamtunnel)
set(LOAM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/LoamTunnel)
set(LOAM_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/LoamTunnel)

# What has to be built before an installation.
add_custom_target(installed ALL)

# loam_text(TEXT SOURCE COMMAND...): a text that the command prints, anew whenever the source is.
function(loam_text TEXT SOURCE)
  add_custom_command(OUTPUT ${TEXT} COMMAND ${ARGN} > ${TEXT} DEPENDS ${SOURCE} VERBATIM)
  add_custom_target(installed-${TEXT} DEPENDS ${TEXT})
  add_dependencies(installed installed-${TEXT})
endfunction()

# loam_install_library(TARGET): the file with its version in the component library, all else in dev.
function(loam_install_library TARGET)
  add_dependencies(installed ${TARGET})
  install(TARGETS ${TARGET} EXPORT ${TARGET}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
    FILE_SET HEADERS DESTINATION ${LOAM_INCLUDE_DIR} COMPONENT dev)
  install(EXPORT ${TARGET} FILE ${TARGET}Targets.cmake NAMESPACE LoamTunnel:: DESTINATION ${LOAM_CMAKE_DIR} COMPONENT dev)
endfunction()

# The library needs no package itself, so its exported target is the whole package config, which takes in those of the
# components Link, Forms and Testing, where they are installed.
loam_install_library(LoamTunnel)
install(FILES cmake/LoamTunnelConfig.cmake DESTINATION ${LOAM_CMAKE_DIR} COMPONENT dev)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/LoamTunnelConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/LoamTunnelConfigVersion.cmake DESTINATION ${LOAM_CMAKE_DIR} COMPONENT dev)

# pkg-config counts the way back to the prefix from the folder of the file.
set(LOAM_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${LOAM_PC_DIR}
  OUTPUT_VARIABLE LOAM_PC_TO_PREFIX)
configure_file(cmake/loamtunnel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/loamtunnel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/loamtunnel.pc DESTINATION ${LOAM_PC_DIR} COMPONENT dev)

configure_file(cmake/package/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/changelog @ONLY)
loam_text(changelog.Debian.gz ${CMAKE_CURRENT_BINARY_DIR}/changelog gzip -9nc ${CMAKE_CURRENT_BINARY_DIR}/changelog)

# loam_install_page(SOURCE NAME COMPONENT): a manual page, compressed.
function(loam_install_page SOURCE NAME COMPONENT)
  string(REGEX MATCH "[0-9]$" SECTION ${NAME})
  loam_text(${NAME}.gz ${SOURCE} gzip -9nc ${SOURCE})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${NAME}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${SECTION}
    COMPONENT ${COMPONENT})
endfunction()
loam_install_page(${CMAKE_CURRENT_SOURCE_DIR}/man/libLoamTunnel.7 libLoamTunnel.7 dev)

# The guides, and the programs that they quote.
set(LOAM_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc)
foreach(COMPONENT PACKAGE IN ZIP_LISTS LOAM_COMPONENTS LOAM_PACKAGES)
  install(FILES man/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${LOAM_DOC_DIR}/${PACKAGE}
    COMPONENT ${COMPONENT})
endforeach()
file(GLOB LOAM_GUIDES CONFIGURE_DEPENDS docs/*.md README.md)
install(FILES ${LOAM_GUIDES} DESTINATION ${LOAM_DOC_DIR}/libloamtunnel-dev COMPONENT dev)
install(FILES CHANGELOG.md DESTINATION ${LOAM_DOC_DIR}/libloamtunnel-dev RENAME NEWS COMPONENT dev)
file(GLOB LOAM_EXAMPLES CONFIGURE_DEPENDS examples/*.cpp)
install(FILES ${LOAM_EXAMPLES} DESTINATION ${LOAM_DOC_DIR}/libloamtunnel-dev/examples COMPONENT dev)

# gdb looks for it by the name of the library that it loads.
get_target_property(LOAM_LIBRARY_VERSION LoamTunnel VERSION)
install(FILES gdb/libLoamTunnel-gdb.py COMPONENT library
  DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load/${CMAKE_INSTALL_FULL_LIBDIR}
  RENAME libLoamTunnel.so.${LOAM_LIBRARY_VERSION}-gdb.py)

foreach(OTHER Link Forms Testing)
  if(TARGET LoamTunnel${OTHER})
    # The libraries lie side by side.
    set_target_properties(LoamTunnel${OTHER} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${LOAM_BUILD_LIBDIR}
      INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
    loam_install_library(LoamTunnel${OTHER})
    string(TOLOWER loamtunnel-${OTHER}.pc PC)
    configure_file(cmake/${PC}.in ${CMAKE_CURRENT_BINARY_DIR}/${PC} @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${PC} DESTINATION ${LOAM_PC_DIR} COMPONENT dev)
  endif()
endforeach()

if(TARGET loamtunnel)
  set_target_properties(loamtunnel PROPERTIES INSTALL_RPATH "$ORIGIN/${LOAM_BIN_TO_LIB}" BUILD_WITH_INSTALL_RPATH ON)
  install(TARGETS loamtunnel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  # The program knows its own command line.
  loam_text(loamtunnel.1 loamtunnel loamtunnel --manual-page)
  loam_install_page(${CMAKE_CURRENT_BINARY_DIR}/loamtunnel.1 loamtunnel.1 tools)
  add_dependencies(installed-loamtunnel.1.gz installed-loamtunnel.1)
  # A page for each command, as many as there are.
  add_custom_command(OUTPUT manual/done DEPENDS loamtunnel cmake/manual.sh VERBATIM
    COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/cmake/manual.sh $<TARGET_FILE:loamtunnel> manual)
  add_custom_target(installed-manual DEPENDS manual/done)
  add_dependencies(installed installed-manual)
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/manual/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools
    FILES_MATCHING PATTERN *.gz)
  # For shells, which look for them there.
  install(FILES tools/completion/loamtunnel.bash COMPONENT tools
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME loamtunnel)
  install(FILES tools/completion/_loamtunnel COMPONENT tools DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES tools/completion/loamtunnel.fish COMPONENT tools DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  # What `loamtunnel demo` asks for where no file is named.
  install(FILES examples/lifs.txt examples/out-acs.txt examples/evecs.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/loamtunnel COMPONENT tools)
endif()

# For Debian's own Python, which looks there below /usr alone: part of the packages, and not of an installation elsewhere.
set(LOAM_PYTHON_DOC ${LOAM_DOC_DIR}/python3-loamtunnel)
install(DIRECTORY python/loamtunnel DESTINATION lib/python3/dist-packages COMPONENT python EXCLUDE_FROM_ALL
  PATTERN __pycache__ EXCLUDE)
install(FILES docs/python.md docs/attribute-log.md man/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
  DESTINATION ${LOAM_PYTHON_DOC} COMPONENT python EXCLUDE_FROM_ALL)
