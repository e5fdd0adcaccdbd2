# Packages: scripts/package.sh. A Debian set, "pdevicemdc" to run and "pdevicemdc-dev" to build against, and an
# archive that may be unpacked anywhere.
set(CPACK_PACKAGE_NAME pdevicemdc)
set(CPACK_PACKAGE_VENDOR "PDeviceMdc")
set(CPACK_PACKAGE_CONTACT "PDeviceMdc maintainers <maintainers@pdevicemdc.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "device plug-in, bench and simulator for MDC screwdriver controllers")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/COPYRIGHT)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development examples)
set(CPACK_VERBATIM_VARIABLES ON)

# One archive with everything in it.
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "A Qt 5 device plug-in with which a host test-and-automation application drives
 an MDC screwdriver controller, a driver plug-in for Modbus over TCP and serial
 lines, a bench on the command line and in a window, and a simulated controller.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "What hosts and plug-ins are built against: the headers of the contract, of its
 utilities and of the reference host, the package files for CMake, and examples.")
set(CPACK_COMPONENT_EXAMPLES_GROUP development)
set(CPACK_COMPONENT_DEVELOPMENT_GROUP development)
set(CPACK_COMPONENT_RUNTIME_GROUP runtime)
set(CPACK_COMPONENT_GROUP_RUNTIME_DESCRIPTION "${CPACK_COMPONENT_RUNTIME_DESCRIPTION}")
set(CPACK_COMPONENT_GROUP_DEVELOPMENT_DESCRIPTION "${CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION}")
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME pdevicemdc)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME pdevicemdc-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# What libraries a file needs is read from the file; what the page's document imports is not.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
    "qml-module-qtquick2, qml-module-qtquick-window2, qml-module-qtquick-controls2, qml-module-qtquick-templates2, qml-module-qtquick-layouts, qml-module-qtquick-shapes")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "fonts-dejavu-core")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "pdevicemdc (= ${PROJECT_VERSION}), qtbase5-dev, qtdeclarative5-dev")
include(CPack)
