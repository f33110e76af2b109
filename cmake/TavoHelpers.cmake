# Helpers shared by the platform libraries and the engine.

# tavo_public_header_checks(<target> <header>...)
# Compiles each public header alone as strict C99 so that a C host can use it.
function(tavo_public_header_checks target)
    set(sources)
    foreach(header IN LISTS ARGN)
        get_filename_component(stem ${header} NAME_WE)
        set(src ${CMAKE_CURRENT_BINARY_DIR}/headercheck/${stem}.c)
        file(WRITE ${src}.in "#include <${header}>\nint headercheck_${stem}(void) { return 0; }\n")
        configure_file(${src}.in ${src} COPYONLY)
        list(APPEND sources ${src})
    endforeach()
    add_library(${target}_headercheck OBJECT ${sources})
    target_link_libraries(${target}_headercheck PRIVATE ${target})
    set_target_properties(${target}_headercheck PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
    target_compile_options(${target}_headercheck PRIVATE -pedantic -Werror)
endfunction()

# tavo_export_list_test(<target> <list file>)
# A test that compares the symbols a shared library exports with the list
# kept under version control, so that an export is never added or lost by
# accident.
function(tavo_export_list_test target listfile)
    if(NOT TAVO_BUILD_TESTS)
        return()
    endif()
    add_test(NAME ${target}.exports
        COMMAND ${CMAKE_COMMAND}
            -DLIBRARY=$<TARGET_FILE:${target}>
            -DLIST=${listfile}
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckExports.cmake)
    set_tests_properties(${target}.exports PROPERTIES LABELS ${target})
endfunction()
