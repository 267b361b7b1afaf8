# Turns the installed tree into one that Debian accepts; runs before it is packed.

set(tree ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(documents ${tree}/share/doc/ldif-migrate)

file(COPY ${CMAKE_CURRENT_LIST_DIR}/changelog.Debian ${CMAKE_CURRENT_LIST_DIR}/copyright
    DESTINATION ${documents}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

file(GLOB pages ${tree}/share/man/man1/*)
execute_process(
    COMMAND gzip --best --no-name ${documents}/changelog.Debian ${pages}
    COMMAND_ERROR_IS_FATAL ANY)

# The umask of whoever makes the package does not matter.
file(CHMOD_RECURSE ${tree} DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
