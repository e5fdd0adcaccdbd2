# One function per kind of target. Every target of our own gets the same warnings, the same
# sanitizers and nothing else implicitly.

# Where operating systems differ, a header platform.h has one file of code for each kind of them.
if(WIN32)
    set(MDC_PLATFORM windows)
else()
    set(MDC_PLATFORM posix)
endif()

add_library(mdc_options INTERFACE)
if(MSVC)
    # The sources are UTF-8 without a mark.
    target_compile_options(mdc_options INTERFACE /utf-8 /W4 /WX /permissive-)
else()
    target_compile_options(mdc_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
        # What a log line says of its place is a place in the sources, not on the machine that built them.
        $<$<CONFIG:Release>:-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=>)
endif()
target_compile_definitions(mdc_options INTERFACE
    QT_DEPRECATED_WARNINGS)

# What is delivered reads files and frames that others wrote: should one of them ever get past the code, it
# finds nothing to work with. Not where the sanitizers look on, which do not go with the checked functions.
if(UNIX AND NOT APPLE)
    include(CheckCXXCompilerFlag)
    check_cxx_compiler_flag(-fcf-protection=full MDC_HAS_CF_PROTECTION)
    set(hardening -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    if(MDC_HAS_CF_PROTECTION)
        list(APPEND hardening -fcf-protection=full)
    endif()
    target_compile_options(mdc_options INTERFACE "$<$<CONFIG:Release>:${hardening}>")
    target_link_options(mdc_options INTERFACE
        "$<$<CONFIG:Release>:LINKER:-z,relro;LINKER:-z,now;LINKER:-z,noexecstack>"
        # Qt asks for code that can lie anywhere; the programs are linked so too.
        "$<$<AND:$<CONFIG:Release>,$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>>:-pie>")
endif()

if(MINGW)
    # What Windows then does for them: another place at each start, and nothing run that is data. A linker's
    # own choice may be another one. scripts/windows/check_hardened.py reads it off the built files.
    target_link_options(mdc_options INTERFACE
        "LINKER:--dynamicbase" "LINKER:--nxcompat" "LINKER:--high-entropy-va")
elseif(MSVC)
    target_link_options(mdc_options INTERFACE /DYNAMICBASE /NXCOMPAT /HIGHENTROPYVA)
endif()

if(MDC_SANITIZE)
    target_compile_options(mdc_options INTERFACE
        -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=undefined,float-cast-overflow
        -fno-omit-frame-pointer
        # GCC reports values of the standard library as uninitialised once its checks are woven in.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(mdc_options INTERFACE -fsanitize=address,undefined)
    # Compilers tell of themselves in ways of their own.
    target_compile_definitions(mdc_options INTERFACE MDC_SANITIZED)
endif()
if(MDC_SANITIZE_THREADS)
    if(MDC_SANITIZE)
        message(FATAL_ERROR "MDC_SANITIZE_THREADS cannot be built together with MDC_SANITIZE")
    endif()
    target_compile_options(mdc_options INTERFACE
        -fsanitize=thread -fno-omit-frame-pointer
        # GCC says of a fence of the standard library that ThreadSanitizer does not see it.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan -Wno-maybe-uninitialized>)
    target_link_options(mdc_options INTERFACE -fsanitize=thread)
endif()

# With the sanitizers the optimiser takes longer over tests and applications, which are compiled once and run
# for a moment, than it gives back. What a host loads keeps its optimisation.
add_library(mdc_unoptimised INTERFACE)
if(MDC_SANITIZE OR MDC_SANITIZE_THREADS)
    target_compile_options(mdc_unoptimised INTERFACE -O0)
endif()

# What a test does by itself is watched for its addresses alone: to watch it for undefined behaviour as well
# takes a third longer to compile, and finds what is the test's own.
add_library(mdc_test_options INTERFACE)
target_link_libraries(mdc_test_options INTERFACE mdc_unoptimised)
if(MDC_SANITIZE)
    target_compile_options(mdc_test_options INTERFACE -fno-sanitize=undefined,float-cast-overflow)
endif()

if(MDC_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "MDC_FUZZ needs clang: configure with the preset \"fuzz\"")
    endif()
    target_compile_options(mdc_options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(mdc_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# With MDC_PRECOMPILE all targets, or those that only test and measure, share Qt's headers in a compiled
# form. The development build does not for what is shipped, nor does clang-tidy: a file that forgets an
# include compiles with it all the same.
# What is compiled is what most files use and not all of Qt Core: a file takes as long to read it as it is large.
set(MDC_PRECOMPILED_HEADERS
    <QByteArray> <QCoreApplication> <QDebug> <QDir> <QElapsedTimer> <QFile> <QFileInfo> <QHash> <QJsonArray>
    <QJsonDocument> <QJsonObject> <QList> <QMap> <QObject> <QPointer> <QSet> <QSharedPointer> <QString>
    <QStringList> <QTimer> <QUuid> <QVariant> <QVector>
    <algorithm> <functional> <limits> <memory> <optional> <utility> <vector>)
if(MDC_PRECOMPILE)
    file(WRITE ${PROJECT_BINARY_DIR}/precompiled.cpp "")
    add_library(mdc_precompiled STATIC ${PROJECT_BINARY_DIR}/precompiled.cpp)
    set_target_properties(mdc_precompiled PROPERTIES POSITION_INDEPENDENT_CODE ON AUTOMOC OFF)
    target_link_libraries(mdc_precompiled PRIVATE Qt5::Core mdc_options)
    target_precompile_headers(mdc_precompiled PRIVATE ${MDC_PRECOMPILED_HEADERS})

    add_library(mdc_precompiled_unoptimised STATIC ${PROJECT_BINARY_DIR}/precompiled.cpp)
    set_target_properties(mdc_precompiled_unoptimised PROPERTIES POSITION_INDEPENDENT_CODE ON AUTOMOC OFF)
    target_link_libraries(mdc_precompiled_unoptimised PRIVATE Qt5::Core mdc_options mdc_unoptimised)
    target_precompile_headers(mdc_precompiled_unoptimised PRIVATE ${MDC_PRECOMPILED_HEADERS})

    add_library(mdc_precompiled_tests STATIC ${PROJECT_BINARY_DIR}/precompiled.cpp)
    set_target_properties(mdc_precompiled_tests PROPERTIES POSITION_INDEPENDENT_CODE ON AUTOMOC OFF)
    target_link_libraries(mdc_precompiled_tests PRIVATE Qt5::Test mdc_options mdc_test_options)
    # Of QtTest only what reads the same whichever of Qt's libraries a program is linked with.
    target_precompile_headers(mdc_precompiled_tests PRIVATE
        ${MDC_PRECOMPILED_HEADERS} <QRegularExpression> <QTemporaryDir>
        <QtTest/qtestcase.h> <QtTest/qtestdata.h> <QtTest/qtestsystem.h> <QtTest/qsignalspy.h>)
endif()

function(mdc_use_precompiled name)
    if(MDC_PRECOMPILE STREQUAL "all" OR (MDC_PRECOMPILE STREQUAL "tests" AND
            CMAKE_CURRENT_SOURCE_DIR MATCHES "/(tests|benchmarks)(/|$)"))
        if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/(applications|tests)(/|$)")
            target_link_libraries(${name} PRIVATE mdc_unoptimised)
            target_precompile_headers(${name} REUSE_FROM mdc_precompiled_unoptimised)
        else()
            target_precompile_headers(${name} REUSE_FROM mdc_precompiled)
        endif()
    endif()
    mdc_compile_folders_together(${name})
endfunction()

# For a program that does nothing but test. QtTest's headers read differently in one with windows.
function(mdc_use_precompiled_tests name has_windows)
    if(has_windows)
        target_link_libraries(${name} PRIVATE mdc_unoptimised)
    else()
        target_link_libraries(${name} PRIVATE mdc_test_options)
    endif()
    if(MDC_PRECOMPILE)
        if(has_windows)
            target_precompile_headers(${name} REUSE_FROM mdc_precompiled_unoptimised)
        else()
            target_precompile_headers(${name} REUSE_FROM mdc_precompiled_tests)
        endif()
    endif()
endfunction()

# mdc_compile_folders_together(<name>)
# Has the files of a folder compiled some at a time where all Qt headers are: what they include takes longer than they
# do, and would be compiled again for each of them. Two with a name of their own in common stay apart, as they are when
# the build is configured: where one gets a name that another one has, configure it again. Elsewhere each stays a file of
# its own, for a forgotten include.
# Framework and plug-ins stay so in the release too: clang-tidy reads there how each of their files is compiled.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(MDC_FILES_COMPILED_TOGETHER 8)
function(mdc_compile_folders_together name)
    if(NOT MDC_PRECOMPILE STREQUAL "all" OR WIN32)
        return()
    endif()
    if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/(applications|tests)(/|$)" OR MDC_SANITIZE)
        set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
        # When all folders have named their sources.
        cmake_language(EVAL CODE "cmake_language(DEFER CALL mdc_group_sources [[${name}]])")
    endif()
endfunction()

function(mdc_group_sources name)
    get_target_property(sources ${name} SOURCES)
    set(files "")
    foreach(source IN LISTS sources)
        get_filename_component(file ${source} ABSOLUTE)
        get_source_file_property(group ${file} TARGET_DIRECTORY ${name} UNITY_GROUP)
        get_source_file_property(is_alone ${file} TARGET_DIRECTORY ${name} MDC_ALONE)
        # What is made by a rule is compiled as it is.
        cmake_path(IS_PREFIX PROJECT_BINARY_DIR ${file} is_made)
        if(file MATCHES "\\.cpp$" AND NOT group AND NOT is_alone AND NOT is_made)
            list(APPEND files ${file})
        endif()
    endforeach()
    execute_process(
        COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/cmake/group_sources.py ${MDC_FILES_COMPILED_TOGETHER} ${files}
        OUTPUT_VARIABLE groups OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "\n" ";" groups "${groups}")
    while(groups)
        list(POP_FRONT groups group file)
        set_source_files_properties(${file} TARGET_DIRECTORY ${name} PROPERTIES UNITY_GROUP ${group})
    endwhile()
endfunction()

# mdc_compile_alone(<name> SOURCES …)
# Files that do not compile together with others of their folder for another reason than names.
function(mdc_compile_alone name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
    set_source_files_properties(${arg_SOURCES} TARGET_DIRECTORY ${name} PROPERTIES MDC_ALONE ON)
endfunction()

# mdc_compile_together(<name> SOURCES …)
# Files of different folders, or those of one that include the same.
function(mdc_compile_together name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
    if(NOT MDC_PRECOMPILE STREQUAL "all")
        return()
    endif()
    set_source_files_properties(${arg_SOURCES} TARGET_DIRECTORY ${name} PROPERTIES UNITY_GROUP ${name}_together)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()

# What is delivered, and the tests that drive it as a whole.
add_custom_target(mdc_shipped)
add_custom_target(mdc_end_to_end_tests)

# The device plug-in and the controller that is not there, with the tests of both: what somebody needs who
# works on a command. Their tests have the label "device".
add_custom_target(mdc_device)

function(mdc_is_of_device result)
    if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/(plugins/p_device_mdc|applications/simulator)(/|$)")
        set(${result} ON PARENT_SCOPE)
    else()
        set(${result} OFF PARENT_SCOPE)
    endif()
endfunction()

function(mdc_note_shipped name)
    mdc_is_of_device(is_of_device)
    if(is_of_device)
        add_dependencies(mdc_device ${name})
    endif()
    mdc_is_shipped(is_shipped)
    if(is_shipped)
        add_dependencies(mdc_shipped ${name})
    endif()
endfunction()

set(MDC_FRAMEWORK_DIRECTORY ${PROJECT_SOURCE_DIR}/framework)

# mdc_add_framework_library(<name> SOURCES … LINK …)
# A shared library of the host framework, included as <lib_name/header.h>.
function(mdc_add_framework_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name} SHARED ${arg_SOURCES})
    string(TOUPPER ${name} upper)
    # "lib_utilities" is the library's own name: no second "lib" in front of it.
    set_target_properties(${name} PROPERTIES PREFIX "" DEFINE_SYMBOL ${upper}_BUILD)
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${MDC_FRAMEWORK_DIRECTORY}>)
    target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE mdc_options)
    target_compile_features(${name} INTERFACE cxx_std_20)
    mdc_use_precompiled(${name})
    mdc_generate_moc(${name})
    mdc_install_library(${name} EXPORTED ${MDC_FRAMEWORK_DIRECTORY}/${name})
endfunction()

# mdc_add_static_library(<name> SOURCES … LINK …)
# Code shared by a program and its tests; headers are included relative to the checkout root.
function(mdc_add_static_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name} STATIC ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE mdc_options)
    mdc_use_precompiled(${name})
    mdc_generate_moc(${name})
endfunction()

# mdc_add_plugin(<name> SOURCES … LINK …)
# A plug-in for the host's plug-in folder.
function(mdc_add_plugin name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name} MODULE ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${MDC_PLUGIN_DIRECTORY})
    if(WIN32)
        # Whichever compiler: only one of them would put "lib" in front.
        set_target_properties(${name} PROPERTIES PREFIX "")
    endif()
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE ${arg_LINK} mdc_options)
    if(UNIX AND NOT APPLE)
        target_link_options(${name} PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/plugin.map)
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/plugin.map)
    endif()
    mdc_use_precompiled(${name})
    mdc_generate_moc(${name})
    mdc_note_shipped(${name})
    mdc_is_shipped(is_shipped)
    if(is_shipped)
        mdc_install_plugin(${name})
    endif()
endfunction()

# mdc_add_program(<name> SOURCES … LINK …)
function(mdc_add_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_executable(${name} ${arg_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE ${arg_LINK} mdc_options)
    mdc_use_precompiled(${name})
    mdc_generate_moc(${name})
    mdc_note_shipped(${name})
    mdc_is_shipped(is_shipped)
    if(is_shipped)
        mdc_install_program(${name})
    endif()
endfunction()

set(MDC_TEST_ENVIRONMENT
    QT_QPA_PLATFORM=offscreen
    ASAN_OPTIONS=detect_leaks=1
    UBSAN_OPTIONS=print_stacktrace=1
    LSAN_OPTIONS=print_suppressions=0:suppressions=${PROJECT_SOURCE_DIR}/cmake/lsan.supp
    # Qt is not built with it: what only Qt's own code does would be told of without its locks.
    TSAN_OPTIONS=ignore_noninstrumented_modules=1:suppressions=${PROJECT_SOURCE_DIR}/cmake/tsan.supp)

# What the compiler defines by itself, for moc to take the same branches of "#if".
set(MDC_MOC_PREDEFINES ${PROJECT_BINARY_DIR}/moc_predefines.h)
set(predefines "")
if(CMAKE_CXX_COMPILER_PREDEFINES_COMMAND)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER_PREDEFINES_COMMAND} OUTPUT_VARIABLE predefines ERROR_QUIET)
endif()
file(CONFIGURE OUTPUT ${MDC_MOC_PREDEFINES} CONTENT "${predefines}" @ONLY)

# mdc_generate_moc(<name>)
# Has moc look at those files of a target that have classes for it: AUTOMOC starts CMake again for each target
# and leaves a file to compile that mostly holds nothing, which takes ten times as long. Which files these are is
# looked up when the build is configured: where one gets its first Q_OBJECT the build does not link until then.
function(mdc_generate_moc name)
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    # When the folder has named all of its sources.
    cmake_language(EVAL CODE "cmake_language(DEFER CALL mdc_generate_moc_of_sources [[${name}]])")
endfunction()

function(mdc_generate_moc_of_sources name)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${name}_moc)
    get_target_property(sources ${name} SOURCES)
    set(files "")
    foreach(source IN LISTS sources)
        if(source MATCHES "^\\$<" OR NOT source MATCHES "\\.(h|cpp)$")
            continue()
        endif()
        get_filename_component(file ${source} ABSOLUTE)
        list(APPEND files ${file})
        # A header belongs to the source beside it.
        string(REGEX REPLACE "\\.cpp$" ".h" header ${file})
        list(APPEND files ${header})
    endforeach()
    list(REMOVE_DUPLICATES files)
    set(of_headers "")
    foreach(file IN LISTS files)
        set(classes "")
        if(EXISTS ${file})
            file(STRINGS ${file} classes REGEX "^[ \t]*Q_(OBJECT|GADGET|NAMESPACE)" LIMIT_COUNT 1)
        endif()
        if(NOT classes)
            continue()
        endif()
        if(file MATCHES "\\.h$")
            file(RELATIVE_PATH output ${PROJECT_SOURCE_DIR} ${file})
            string(REGEX REPLACE "[/.]" "_" output ${output})
            set(output ${folder}/${output}.cpp)
            list(APPEND of_headers ${output})
        else()
            get_filename_component(output ${file} NAME_WE)
            set(output ${folder}/${output}.moc)
        endif()
        mdc_run_moc(${name} ${file} ${output})
    endforeach()
    if(of_headers)
        list(TRANSFORM of_headers REPLACE "(.+)" "#include \"\\1\"" OUTPUT_VARIABLE includes)
        list(JOIN includes "\n" includes)
        file(CONFIGURE OUTPUT ${folder}/of_headers.cpp CONTENT "${includes}\n" @ONLY)
        target_sources(${name} PRIVATE ${folder}/of_headers.cpp)
    endif()
endfunction()

function(mdc_run_moc name file output)
    get_filename_component(folder ${output} DIRECTORY)
    set(parameters ${folder}/parameters)
    get_target_property(is_known ${name} MDC_HAS_MOC)
    if(NOT is_known)
        set(definitions "$<TARGET_PROPERTY:${name},COMPILE_DEFINITIONS>")
        # Without the folder of what is made: moc would name its own output among what it has read.
        set(includes "$<FILTER:$<TARGET_PROPERTY:${name},INCLUDE_DIRECTORIES>,EXCLUDE,_moc$>")
        file(GENERATE OUTPUT ${parameters} CONTENT
            "$<$<BOOL:${definitions}>:-D$<JOIN:${definitions},\n-D>\n>$<$<BOOL:${includes}>:-I$<JOIN:${includes},\n-I>\n>")
        set_target_properties(${name} PROPERTIES MDC_HAS_MOC ON)
        target_include_directories(${name} PRIVATE ${folder})
    endif()
    add_custom_command(OUTPUT ${output}
        COMMAND Qt5::moc @${parameters} --include ${MDC_MOC_PREDEFINES}
            --output-dep-file --dep-file-path ${output}.d -o ${output} ${file}
        DEPENDS ${file} ${parameters} ${MDC_MOC_PREDEFINES}
        DEPFILE ${output}.d
        COMMENT "moc ${file}"
        VERBATIM)
    # What is included is made first and is no source to compile.
    set_source_files_properties(${output} PROPERTIES HEADER_FILE_ONLY ON)
    target_sources(${name} PRIVATE ${output})
endfunction()

if(MDC_WINE)
    # Wine keeps what begins with QT_ from the program and hands on what begins with WINEQT_. A folder of its own
    # for what it takes for drive C, and no look for libraries of .NET and of HTML.
    set(MDC_TEST_ENVIRONMENT
        WINEQT_QPA_PLATFORM=offscreen
        WINEQT_FORCE_STDERR_LOGGING=1
        # Wine has no letters of its own.
        WINEQT_QPA_FONTDIR=Z:/usr/share/fonts/truetype/dejavu
        "WINEQT_PLUGIN_PATH=Z:${MDC_WINDOWS_QT}/plugins"
        "WINEQML2_IMPORT_PATH=Z:${MDC_WINDOWS_QT}/qml"
        "WINEPATH=Z:${PROJECT_BINARY_DIR}/bin\\;Z:${MDC_WINDOWS_QT}/bin"
        WINEPREFIX=${PROJECT_BINARY_DIR}/wine
        WINEDEBUG=-all
        WINEDLLOVERRIDES=mscoree,mshtml=)
endif()

include(MdcTestTimes)

# Of the jobs that ctest does at a time, one that keeps a processor busy takes two and one that mostly waits for
# answers and for their absence takes one: others go on beside it.
set(MDC_JOBS_OF_A_TEST 2)

# mdc_add_test(<name> SOURCES … LINK … [DEFINES …] [NEEDS <target>…] [LABELS …] [TIMEOUT <s>] [POSIX <why>] [WAITS])
# A QtTest program, run by ctest off screen. NEEDS names targets that the test loads or starts
# at run time (plug-ins, programs) and that must be built before it. POSIX says what of POSIX it needs, without
# which it is not built; scripts/windows.sh tells of it. WAITS: most of its time passes without a processor.
function(mdc_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "WAITS" "TIMEOUT;POSIX" "SOURCES;LINK;DEFINES;NEEDS;LABELS")
    if(arg_POSIX AND NOT UNIX)
        set_property(GLOBAL APPEND PROPERTY MDC_TESTS_NOT_HERE "${name}: ${arg_POSIX}")
        return()
    endif()
    mdc_seconds_of_test(seconds ${name})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
        if(seconds GREATER 30)
            set(arg_TIMEOUT 300)
        endif()
    endif()
    if(MDC_WINE)
        math(EXPR arg_TIMEOUT "4 * ${arg_TIMEOUT}")
    endif()
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_definitions(${name} PRIVATE
        MDC_BINARY_DIRECTORY="${MDC_TARGET_ROOT}${PROJECT_BINARY_DIR}"
        MDC_SOURCE_DIRECTORY="${MDC_TARGET_ROOT}${PROJECT_SOURCE_DIR}"
        ${arg_DEFINES})
    target_link_libraries(${name} PRIVATE ${arg_LINK} Qt5::Test mdc_options)
    mdc_generate_moc(${name})
    if("panel_objects" IN_LIST arg_LINK)
        mdc_use_precompiled_tests(${name} ON)
    else()
        mdc_use_precompiled_tests(${name} OFF)
    endif()
    if(arg_NEEDS)
        add_dependencies(${name} ${arg_NEEDS})
    endif()
    add_test(NAME ${name} COMMAND ${name})
    mdc_is_of_device(is_of_device)
    if(is_of_device)
        add_dependencies(mdc_device ${name})
        list(APPEND arg_LABELS device)
    endif()
    if("end-to-end" IN_LIST arg_LABELS)
        add_dependencies(mdc_end_to_end_tests ${name})
    endif()
    set(jobs ${MDC_JOBS_OF_A_TEST})
    if(arg_WAITS)
        set(jobs 1)
    endif()
    set_tests_properties(${name} PROPERTIES
        PROCESSORS ${jobs}
        TIMEOUT ${arg_TIMEOUT}
        COST ${seconds}
        LABELS "${arg_LABELS}"
        ENVIRONMENT "${MDC_TEST_ENVIRONMENT}")
endfunction()

# mdc_discover_rows(<program> PREFIX <prefix> [TIMEOUT <s>] [WAITS <regular expression>])
# A test "<prefix>.<row>" with the label <prefix> for each row that the program knows once it is built:
# it prints them with "--list" and runs one with "--row <row>". Rows that WAITS matches wait most of their time.
function(mdc_discover_rows program)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "PREFIX;TIMEOUT;WAITS" "")
    set(file ${CMAKE_CURRENT_BINARY_DIR}/${program}_rows.cmake)
    set(include ${CMAKE_CURRENT_BINARY_DIR}/${program}_include.cmake)
    add_custom_command(TARGET ${program} POST_BUILD
        BYPRODUCTS ${file}
        COMMAND ${CMAKE_COMMAND} -D PROGRAM=$<TARGET_FILE:${program}> -D PREFIX=${arg_PREFIX}
            -D TIMEOUT=${arg_TIMEOUT} -D JOBS=${MDC_JOBS_OF_A_TEST} -D "WAITS=${arg_WAITS}" -D "ENVIRONMENT=${MDC_TEST_ENVIRONMENT}" -D FILE=${file}
            -P ${PROJECT_SOURCE_DIR}/cmake/DiscoverRows.cmake
        VERBATIM)
    file(WRITE ${include}
        "if(EXISTS \"${file}\")\n  include(\"${file}\")\nelse()\n"
        "  add_test(${program}_NOT_BUILT ${program}_NOT_BUILT)\nendif()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include})
endfunction()

# mdc_add_fuzz_target(<name> SOURCES … LINK … CORPUS <folder> [CHANGES <n>])
# A program around LLVMFuzzerTestOneInput. With MDC_FUZZ libFuzzer drives it; otherwise it is a test that
# runs the files of the corpus folder and so many changes of each (500).
function(mdc_add_fuzz_target name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "CORPUS;CHANGES" "SOURCES;LINK")
    if(NOT arg_CHANGES)
        set(arg_CHANGES 500)
    endif()
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/fuzz
        AUTOMOC OFF)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE ${arg_LINK} Qt5::Core mdc_options)
    mdc_use_precompiled(${name})
    if(MDC_FUZZ)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    else()
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
        add_test(NAME ${name} COMMAND ${name} ${CMAKE_CURRENT_SOURCE_DIR}/${arg_CORPUS} ${arg_CHANGES})
        set_tests_properties(${name} PROPERTIES TIMEOUT 120)
        if(MDC_WINE)
            set_tests_properties(${name} PROPERTIES ENVIRONMENT "${MDC_TEST_ENVIRONMENT}")
        endif()
    endif()
endfunction()
