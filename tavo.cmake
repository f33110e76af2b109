# libtavo: the editing and display engine. One shared library built from the
# subsystem folders (frame/ edit/ view/ regions/ draw/ canvas/ control/
# visualtools/ config/ lua/), with one public header per family in include/.
# It may call the platform libraries (libfound, libdspcore, libaudiosig),
# Qt 6 Core and Gui (only canvas/ includes Qt Gui headers) and Lua 5.3.
find_package(Qt6 REQUIRED COMPONENTS Core Gui)

set(TAVO_SUBSYSTEMS frame edit view regions draw canvas control visualtools config lua)
set(TAVO_SOURCES)
foreach(subsystem IN LISTS TAVO_SUBSYSTEMS)
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${subsystem}/*.cpp)
    list(APPEND TAVO_SOURCES ${sources})
endforeach()
file(GLOB TAVO_HEADERS CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/include/*.h)

add_library(tavo SHARED ${TAVO_SOURCES})
target_include_directories(tavo PUBLIC ${PROJECT_SOURCE_DIR}/include PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(tavo PRIVATE TAVO_BUILDING=1)
target_link_libraries(tavo PUBLIC found dspcore audiosig PRIVATE Qt6::Core Qt6::Gui Threads::Threads)
set_target_properties(tavo PROPERTIES VERSION 3.22.0 SOVERSION 3)

tavo_public_header_checks(tavo ${TAVO_HEADERS})
tavo_export_list_test(tavo ${PROJECT_SOURCE_DIR}/include/exports.txt)
