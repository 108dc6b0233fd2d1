# corvane_add_library(NAME SOURCES... [LINK libs...])
# A static library for one subsystem folder; its headers are reached as "<folder>/<Header>.h".
function(corvane_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_LINK})
endfunction()

# corvane_add_test(NAME SOURCES... [LINK libs...] [GUI])
# One QtTest executable registered with CTest. Every test gets its own XDG folders
# (set by the test itself through TestEnvironment) and the offscreen platform.
function(corvane_add_test name)
    cmake_parse_arguments(ARG "GUI" "TIMEOUT" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test corvane_testsupport ${ARG_LINK})
    add_test(NAME ${name} COMMAND ${name})
    set(timeout 300)
    if(ARG_TIMEOUT)
        set(timeout ${ARG_TIMEOUT})
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${timeout}
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;CORVANE_SOURCE_DIR=${PROJECT_SOURCE_DIR};CORVANE_NPM_DIR=${PROJECT_SOURCE_DIR}/.deps/npm;QT_LOGGING_RULES=qt.qml.compiler=false")
endfunction()
