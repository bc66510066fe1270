# The two programs and what is installed with them.

if(EXISTS ${PROJECT_SOURCE_DIR}/app/main.cpp)
  add_executable(lanterna app/main.cpp)
  lanterna_options(lanterna)
  target_link_libraries(lanterna PRIVATE lanterna_app lanterna_desktop)
  install(TARGETS lanterna)
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/cli/main.cpp)
  lanterna_sources(cli_files cli/*.cpp)
  add_executable(lanternactl ${cli_files})
  lanterna_options(lanternactl)
  target_link_libraries(lanternactl PRIVATE lanterna_app lanterna_linux)
  install(TARGETS lanternactl)
endif()

install(DIRECTORY resources/icons DESTINATION ${CMAKE_INSTALL_DATADIR})
install(DIRECTORY resources/pictures/ DESTINATION ${CMAKE_INSTALL_DATADIR}/lanterna)
install(DIRECTORY resources/applications DESTINATION ${CMAKE_INSTALL_DATADIR})
# The build tree is laid out like an installed one, so that programs find their files in the same way.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/resources/icons ${PROJECT_BINARY_DIR}/share/icons SYMBOLIC)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/resources/pictures ${PROJECT_BINARY_DIR}/share/lanterna SYMBOLIC)
