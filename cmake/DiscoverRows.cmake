# Run after a build by mdc_discover_rows(): asks PROGRAM for its rows (--list) and writes FILE, which
# gives each of them a test of its own. It takes JOBS of ctest's jobs, or one where WAITS matches its name. A row
# that ends with 77 cannot be run here.
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
    string(APPEND script
        "add_test(\"${PREFIX}.${row}\" \"${PROGRAM}\" --row \"${row}\")\n"
        "set_tests_properties(\"${PREFIX}.${row}\" PROPERTIES LABELS \"${PREFIX}\" TIMEOUT ${TIMEOUT} COST ${TIMEOUT}"
        " PROCESSORS ${jobs} SKIP_RETURN_CODE 77 ENVIRONMENT \"${ENVIRONMENT}\")\n")
endforeach()
file(WRITE ${FILE} "${script}")
