# The two programs and what is installed with them.

add_executable(lanterna app/main.cpp)
lanterna_options(lanterna)
target_link_libraries(lanterna PRIVATE lanterna_app lanterna_desktop)
install(TARGETS lanterna)
add_executable(lanternactl cli/main.cpp)
lanterna_options(lanternactl)
target_link_libraries(lanternactl PRIVATE lanterna_cli lanterna_linux)
install(TARGETS lanternactl)

install(DIRECTORY resources/icons DESTINATION ${CMAKE_INSTALL_DATADIR})
install(DIRECTORY resources/lanterna/ DESTINATION ${CMAKE_INSTALL_DATADIR}/lanterna)
install(DIRECTORY resources/applications DESTINATION ${CMAKE_INSTALL_DATADIR})
# The build tree is laid out like an installed one, so that programs find their files in the same way.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/resources/icons ${PROJECT_BINARY_DIR}/share/icons SYMBOLIC)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/resources/lanterna ${PROJECT_BINARY_DIR}/share/lanterna SYMBOLIC)
