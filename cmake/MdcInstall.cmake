# Where things go when they are installed. Components: "runtime" is what is needed to run, "development" what
# hosts and plug-ins are built against, "examples" projects of their own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Programs, libraries and plug-ins stay in one folder and find each other by their places in it, as in the
# build tree: the installed tree may be moved anywhere. Both have the same run paths; CMake would make room for
# the installed ones with empty entries, which stand for the current folder.
if(WIN32)
    set(MDC_INSTALL_HOME ".")
    set(MDC_INSTALL_LIBRARIES "bin")
    set(MDC_INSTALL_DATA "share")
    set(MDC_INSTALL_DOCUMENTATION "doc")
else()
    set(MDC_INSTALL_HOME "${CMAKE_INSTALL_LIBDIR}/pdevicemdc")
    set(MDC_INSTALL_LIBRARIES "${MDC_INSTALL_HOME}/lib")
    set(MDC_INSTALL_DATA "${CMAKE_INSTALL_DATADIR}/pdevicemdc")
    set(MDC_INSTALL_DOCUMENTATION "${CMAKE_INSTALL_DATADIR}/doc/pdevicemdc")
endif()
set(MDC_INSTALL_PROGRAMS "${MDC_INSTALL_HOME}/bin")
set(MDC_INSTALL_PLUGINS "${MDC_INSTALL_HOME}/plugins")
set(MDC_INSTALL_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/pdevicemdc")
set(MDC_INSTALL_CMAKE "${CMAKE_INSTALL_LIBDIR}/cmake/MdcFramework")

# What is shipped, and nothing that tests, measures or fuzzes.
function(mdc_is_shipped result)
    if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/(tests|benchmarks|fuzz)(/|$)")
        set(${result} OFF PARENT_SCOPE)
    else()
        set(${result} ON PARENT_SCOPE)
    endif()
endfunction()

# mdc_install_program(<name>)
# A program, and a link to it where a shell looks for programs.
function(mdc_install_program name)
    set_target_properties(${name} PROPERTIES
        INSTALL_RPATH "$ORIGIN/../lib" BUILD_WITH_INSTALL_RPATH ON)
    install(TARGETS ${name} RUNTIME DESTINATION ${MDC_INSTALL_PROGRAMS} COMPONENT runtime)
    if(NOT WIN32)
        file(RELATIVE_PATH program "/${CMAKE_INSTALL_BINDIR}" "/${MDC_INSTALL_PROGRAMS}/${name}")
        file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/links)
        file(CREATE_LINK ${program} ${PROJECT_BINARY_DIR}/links/${name} SYMBOLIC)
        install(FILES ${PROJECT_BINARY_DIR}/links/${name} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
    endif()
endfunction()

# mdc_install_library(<name> [EXPORTED <folder of headers>])
# A library that the programs load; with EXPORTED one that hosts and plug-ins are built against.
function(mdc_install_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORTED" "")
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
    set(export "")
    if(arg_EXPORTED)
        set(export EXPORT MdcFrameworkTargets)
        target_include_directories(${name} INTERFACE $<INSTALL_INTERFACE:${MDC_INSTALL_HEADERS}>)
        install(DIRECTORY ${arg_EXPORTED} DESTINATION ${MDC_INSTALL_HEADERS} COMPONENT development
            FILES_MATCHING PATTERN "*.h" PATTERN "contract.json" PATTERN tests EXCLUDE)
    endif()
    install(TARGETS ${name} ${export}
        LIBRARY DESTINATION ${MDC_INSTALL_LIBRARIES} COMPONENT runtime
        RUNTIME DESTINATION ${MDC_INSTALL_LIBRARIES} COMPONENT runtime
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endfunction()

# mdc_install_plugin(<name>)
function(mdc_install_plugin name)
    set_target_properties(${name} PROPERTIES
        INSTALL_RPATH "$ORIGIN/../lib" BUILD_WITH_INSTALL_RPATH ON)
    install(TARGETS ${name} LIBRARY DESTINATION ${MDC_INSTALL_PLUGINS} COMPONENT runtime)
endfunction()

# What a Linux system has beside the programs: an entry in the desktop's menu, units that are off until somebody
# turns them on, what Debian wants to know of a package.
function(mdc_install_desktop)
    string(TIMESTAMP MDC_RELEASE_DATE "%Y-%m-%d" UTC)
    set(made ${PROJECT_BINARY_DIR}/packaging)
    configure_file(packaging/org.pdevicemdc.panel.metainfo.xml ${made}/org.pdevicemdc.panel.metainfo.xml @ONLY)
    install(FILES ${made}/org.pdevicemdc.panel.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT runtime)
    install(FILES packaging/pdevicemdc-panel.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT runtime)
    foreach(unit IN ITEMS mdc-simulator mdc-results)
        # A unit names its program by the folder that it is installed to, which whoever installs may choose.
        install(CODE "
            get_filename_component(MDC_BINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\" ABSOLUTE)
            configure_file(${PROJECT_SOURCE_DIR}/packaging/${unit}.service ${made}/${unit}.service @ONLY)"
            COMPONENT runtime)
        install(FILES ${made}/${unit}.service DESTINATION lib/systemd/system COMPONENT runtime)
    endforeach()
    install(FILES packaging/completions/mdc-bench.bash RENAME mdc-bench
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
    install(FILES packaging/completions/_mdc-bench
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT runtime)
    install(FILES packaging/completions/mdc-bench.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT runtime)
    file(GLOB pages CONFIGURE_DEPENDS packaging/man/*.1)
    file(COPY ${pages} DESTINATION ${made}/man)
    foreach(page IN LISTS pages)
        get_filename_component(page ${page} NAME)
        execute_process(COMMAND gzip -9nkf ${made}/man/${page} COMMAND_ERROR_IS_FATAL ANY)
        install(FILES ${made}/man/${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
    endforeach()
    # The bill of materials is made from the built files: scripts/package.sh.
    install(FILES ${PROJECT_BINARY_DIR}/pdevicemdc.spdx.json
        DESTINATION ${MDC_INSTALL_DOCUMENTATION} COMPONENT runtime OPTIONAL)

    configure_file(packaging/changelog.in ${made}/changelog @ONLY)
    execute_process(COMMAND gzip -9nkf ${made}/changelog COMMAND_ERROR_IS_FATAL ANY)
    foreach(package IN ITEMS pdevicemdc:runtime pdevicemdc-dev:development)
        string(REPLACE ":" ";" parts ${package})
        list(GET parts 0 name)
        list(GET parts 1 component)
        install(FILES COPYRIGHT DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} RENAME copyright
            COMPONENT ${component})
        install(FILES ${made}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
            COMPONENT ${component})
    endforeach()
endfunction()

# mdc_install_data()
# What is no target of its own; called once, when all targets are known.
function(mdc_install_data)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/configurations DESTINATION ${MDC_INSTALL_DATA} COMPONENT runtime
        FILES_MATCHING PATTERN "*.json")
    install(FILES ${PROJECT_SOURCE_DIR}/plugins/p_driver_modbus/configuration.schema.json
        DESTINATION ${MDC_INSTALL_DATA}/configurations/schema RENAME modbus_driver.schema.json COMPONENT runtime)
    install(FILES README.md CHANGELOG.md COPYRIGHT THIRD_PARTY_NOTICES.md
        DESTINATION ${MDC_INSTALL_DOCUMENTATION} COMPONENT runtime)
    if(UNIX AND NOT APPLE)
        mdc_install_desktop()
    endif()
    install(DIRECTORY docs DESTINATION ${MDC_INSTALL_DOCUMENTATION} COMPONENT development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN "*.svg")

    install(EXPORT MdcFrameworkTargets NAMESPACE Mdc:: DESTINATION ${MDC_INSTALL_CMAKE} COMPONENT development)
    configure_package_config_file(cmake/MdcFrameworkConfig.cmake.in
        ${PROJECT_BINARY_DIR}/MdcFrameworkConfig.cmake
        INSTALL_DESTINATION ${MDC_INSTALL_CMAKE} PATH_VARS MDC_INSTALL_PLUGINS)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/MdcFrameworkConfigVersion.cmake
        COMPATIBILITY SameMajorVersion)
    install(FILES
        ${PROJECT_BINARY_DIR}/MdcFrameworkConfig.cmake ${PROJECT_BINARY_DIR}/MdcFrameworkConfigVersion.cmake
        cmake/MdcFrameworkPlugin.cmake cmake/plugin.map
        DESTINATION ${MDC_INSTALL_CMAKE} COMPONENT development)
    install(DIRECTORY examples/ DESTINATION ${MDC_INSTALL_DATA}/examples COMPONENT examples)
endfunction()
