# The manual page and the completion, made from the program's own help; installed documents; the Debian package.
add_executable(gmail_help_pages host/help_pages.cpp)
target_link_libraries(gmail_help_pages PRIVATE gmail_host_core)
set(help_pages ${CMAKE_BINARY_DIR}/help_pages)
file(MAKE_DIRECTORY ${help_pages})
add_custom_command(
    OUTPUT ${help_pages}/gmail_host.1 ${help_pages}/gmail_host.1.gz ${help_pages}/gmail_host
    COMMAND gmail_help_pages man > ${help_pages}/gmail_host.1
    COMMAND gzip -9nc ${help_pages}/gmail_host.1 > ${help_pages}/gmail_host.1.gz
    COMMAND gmail_help_pages completion > ${help_pages}/gmail_host
    DEPENDS gmail_help_pages
    VERBATIM)
add_custom_target(help_pages ALL DEPENDS ${help_pages}/gmail_host.1.gz)

set(package_name gmail-host)
set(package_documents ${CMAKE_INSTALL_DATADIR}/doc/${package_name})
install(FILES ${help_pages}/gmail_host.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${help_pages}/gmail_host DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES README.md packaging/copyright DESTINATION ${package_documents})
install(FILES host/results/page/bundle/licences.txt DESTINATION ${package_documents} RENAME licences_of_the_report.txt)
install(DIRECTORY docs DESTINATION ${package_documents} FILES_MATCHING PATTERN "*.md" PATTERN "*.png")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${package_name})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "gmail_host maintainers <gmail_host@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Gmail artifacts from Takeout archives and Android devices")
set(CPACK_PACKAGE_DESCRIPTION
    "A plug-in for a forensic examination suite, which extracts Gmail artifacts into a result database, and gmail_host, a \
command line that runs it without the suite, reads the mails themselves, and shows, exports and reports results.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded by name at run time, so the libraries show no dependency on it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite")
include(CPack)
