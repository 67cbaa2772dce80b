# Debian packages, a component each: cpack -G DEB. ./dev package configures for /usr, builds and makes them.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME loamtunnel)
set(CPACK_PACKAGE_VENDOR "libLoamTunnel")
set(CPACK_PACKAGE_CONTACT "The developers of libLoamTunnel <developers@loamtunnel.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL library dev tools python)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libloamtunnel${LOAM_SOVERSION})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# What builds against it depends on this version or a later one; the loader's cache is renewed once at the end.
configure_file(cmake/package/shlibs.in ${CMAKE_CURRENT_BINARY_DIR}/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/cmake/package/triggers ${CMAKE_CURRENT_BINARY_DIR}/shlibs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "The exact form of the tables of forwarding chips, the values in which
applications say what they want, and the entities through which they ask for
it, replicated between processes. With printers for gdb.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libloamtunnel-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libloamtunnel${LOAM_SOVERSION} (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "pkg-config, cmake")
set(CPACK_DEBIAN_DEV_DESCRIPTION "What is needed to build programs with libLoamTunnel: headers, a CMake package
and files for pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME loamtunnel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libloamtunnel${LOAM_SOVERSION} (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${LOAM_BUILD_LIBDIR})
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Encodes and decodes rows of chip tables, draws and compares their layouts,
shows types and values, and looks into processes that share entities.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-loamtunnel)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.11)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS loamtunnel)
# What Python makes of the sources comes and goes with the package.
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/cmake/package/postinst ${CMAKE_CURRENT_SOURCE_DIR}/cmake/package/prerm)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "Entities of a switch's driver stack from Python: a peer of the attribute log in
pure Python on asyncio, with all types of the model, and the rows of the chip
tables. With stubs for type checkers.")

include(CPack)
