# Run after a build by mdc_discover_rows(): asks PROGRAM for its rows (--list) and writes FILE, which
# gives each of them a test of its own. It takes JOBS of ctest's jobs, or one where WAITS matches its name. A row
# that ends with 77 cannot be run here.
include(${CMAKE_CURRENT_LIST_DIR}/MdcTestTimes.cmake)
execute_process(COMMAND ${PROGRAM} --list OUTPUT_VARIABLE rows RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} --list ended with ${result}")
endif()
string(STRIP "${rows}" rows)
string(REPLACE "\n" ";" rows "${rows}")
set(script "")
foreach(row IN LISTS rows)
    set(jobs ${JOBS})
    if(WAITS AND row MATCHES "${WAITS}")
        set(jobs 1)
    endif()
    mdc_seconds_of_test(seconds ${PREFIX}.${row})
    string(APPEND script
        "add_test(\"${PREFIX}.${row}\" \"${PROGRAM}\" --row \"${row}\")\n"
        "set_tests_properties(\"${PREFIX}.${row}\" PROPERTIES LABELS \"${PREFIX}\" TIMEOUT ${TIMEOUT} COST ${seconds}"
        " PROCESSORS ${jobs} SKIP_RETURN_CODE 77 ENVIRONMENT \"${ENVIRONMENT}\")\n")
endforeach()
file(WRITE ${FILE} "${script}")
