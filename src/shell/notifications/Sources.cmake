# Desktop notifications through the freedesktop notification service on the session bus.
find_package(Qt6 REQUIRED COMPONENTS DBus Gui)
target_sources(corvane_shell PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/BackgroundNotificationService.h
    ${CMAKE_CURRENT_LIST_DIR}/BackgroundNotificationService.cpp)
target_link_libraries(corvane_shell PUBLIC corvane_agent Qt6::DBus Qt6::Gui)
