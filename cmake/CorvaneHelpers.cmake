# corvane_add_library(NAME SOURCES... [LINK libs...])
# The library of one subsystem folder (static, or shared with CORVANE_SHARED_LIBS); its headers
# are reached as "<folder>/<Header>.h".
function(corvane_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} ${CORVANE_LIBRARY_TYPE} ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_LINK})
    corvane_install_library(${name})
endfunction()

# Shared subsystem libraries go beside each other in a private folder the executables' RPATH names.
function(corvane_install_library name)
    if(CORVANE_SHARED_LIBS)
        install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/corvane)
    endif()
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
