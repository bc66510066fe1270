# How every target of this project is compiled.

set(LANTERNA_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Werror)

function(lanterna_options target)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE ${LANTERNA_WARNINGS})
  target_compile_definitions(${target} PRIVATE LANTERNA_VERSION="${PROJECT_VERSION}" QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII QT_NO_FOREACH)
  if(LANTERNA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${LANTERNA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    target_link_options(${target} PRIVATE -fsanitize=${LANTERNA_SANITIZE})
    # GCC 12 sees uninitialised members in moved std::optional values once a sanitizer's own code stands between; the other builds keep the warning.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  endif()
endfunction()

# lanterna_sources(VARIABLE pattern... [EXCEPT file...]): the files that match, relative to the project.
function(lanterna_sources variable)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "EXCEPT")
  set(files)
  foreach(pattern IN LISTS arg_UNPARSED_ARGUMENTS)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${pattern})
    list(APPEND files ${found})
  endforeach()
  foreach(file IN LISTS arg_EXCEPT)
    list(REMOVE_ITEM files ${PROJECT_SOURCE_DIR}/${file})
  endforeach()
  set(${variable} ${files} PARENT_SCOPE)
endfunction()

# lanterna_library(target pattern... [EXCEPT file...]): a static library of the files that match.
function(lanterna_library target)
  lanterna_sources(files ${ARGN})
  if(NOT files)
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${target}_empty.cpp "")
    set(files ${CMAKE_CURRENT_BINARY_DIR}/${target}_empty.cpp)
  endif()
  add_library(${target} STATIC ${files})
  lanterna_options(${target})
  target_precompile_headers(${target} PRIVATE <QString> <QVariant> <QDateTime> <functional> <memory> <chrono> <map> <mutex> <vector>)
endfunction()
