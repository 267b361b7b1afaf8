# The tests preload a library that lets calls of the programs fail, allocations among them. With the
# sanitizer's own library shared, the preloaded one comes before it.

execute_process(
    COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
    OUTPUT_VARIABLE sanitizer_folder
    OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
add_link_options(-shared-libsan -Wl,-rpath,${sanitizer_folder})
