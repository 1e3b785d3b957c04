# Running the cross-built tests under Wine. Every test program gets wine-run as its emulator; the
# fixture wine_prefix makes a new prefix under the build folder before the first test, so that no
# test sees what an earlier run left there, and stops that prefix's wineserver after the last.
find_program(ZTTSP_WINE wine REQUIRED)
find_program(ZTTSP_WINESERVER wineserver REQUIRED)

set(ZTTSP_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(ZTTSP_WINE_RUN ${CMAKE_BINARY_DIR}/wine-run)
configure_file(${CMAKE_CURRENT_LIST_DIR}/wine_run.sh.in ${ZTTSP_WINE_RUN}
               FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                WORLD_READ WORLD_EXECUTE
               @ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZTTSP_WINE_RUN})

add_test(NAME wine_prefix_setup COMMAND ${ZTTSP_WINE_RUN} --new-prefix)
add_test(NAME wine_prefix_cleanup COMMAND ${ZTTSP_WINE_RUN} --stop)
set_tests_properties(wine_prefix_setup PROPERTIES FIXTURES_SETUP wine_prefix)
set_tests_properties(wine_prefix_cleanup PROPERTIES FIXTURES_CLEANUP wine_prefix)
