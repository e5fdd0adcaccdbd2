# mdc_framework_add_plugin(<name> SOURCES … [LINK …])
# A plug-in as those that come with the framework are built: a module of Qt's plug-in loader that shows its
# entry points and nothing else, so that nothing that it shares with other libraries keeps it in the process.
# Put it into the folder of plug-ins of a host.
function(mdc_framework_add_plugin name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name} MODULE ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES
        AUTOMOC ON AUTORCC ON CXX_STANDARD_REQUIRED ON CXX_STANDARD 20)
    target_link_libraries(${name} PRIVATE Mdc::lib_plugins_management ${arg_LINK})
    if(UNIX AND NOT APPLE)
        set(map ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/plugin.map)
        target_link_options(${name} PRIVATE LINKER:--version-script=${map})
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${map})
    endif()
endfunction()
