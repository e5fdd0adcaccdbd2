# Tests that take long, with their seconds under the sanitizers on two processors: they begin first, the longest of
# them before all others, so that nobody waits for one of them at the end. It need not be exact. The seconds of a run
# are in Testing/Temporary/CTestCostData.txt of its build folder.
set(MDC_TEST_TIMES
    reliability.input.configuration-keys 130
    tst_bench_exit_codes 110
    tst_bench_backup 105
    tst_panel_chain 100
    tst_device_commands 90
    tst_support 90
    tst_bench_output 80
    tst_bench_setup 80
    tst_growth 75
    tst_host_properties 60
    tst_panel_page 60
    tst_init 50
    tst_backup_restore 45
    tst_mdc_command_needs 45
    tst_driver_outcomes 40
    tst_simulator_program 40
    tst_results_stream 35
    tst_driver_listening 27
    reliability.tcp.random-frames 25
    tst_end_to_end 25
    tst_bench_interrupt 23
    tst_configuration 22
    tst_log_line 22
    tst_panel_frame 21
    tst_panel_looks 20
    reliability.input.generated-calls 17
    tst_modbus_rtu 16
    reliability.files.kept-killed 15
    reliability.lifetime.owner-deleted 15
    tst_map_mistakes 15
    tst_modbus_faults 15
    tst_mdc_backup_files 14
    tst_modbus_rtu_times 11
    reliability.files.killed 10
    tst_simulator_tcp 10)

# Its seconds, or less than those of any that is listed.
function(mdc_seconds_of_test result name)
    set(seconds 5)
    list(FIND MDC_TEST_TIMES ${name} place)
    if(place GREATER_EQUAL 0)
        math(EXPR place "${place} + 1")
        list(GET MDC_TEST_TIMES ${place} seconds)
    endif()
    set(${result} ${seconds} PARENT_SCOPE)
endfunction()
