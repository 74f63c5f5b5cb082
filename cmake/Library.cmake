# quillbrook_library(NAME FOLDER f SOURCES ... DEPENDS ... [PRIVATE_DEPENDS ...])
#
# One folder, one library. Its headers are reachable as "Folder/Header.h" for exactly those
# targets that link it: every library has an include root of its own, made of links to its
# headers. So an include against the direction of docs/architecture.md does not compile.
function(quillbrook_library name)
  cmake_parse_arguments(lib "" "FOLDER" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  set(root ${CMAKE_BINARY_DIR}/include/${name})
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  file(REMOVE_RECURSE ${root})
  file(MAKE_DIRECTORY ${root}/${lib_FOLDER})
  foreach(header ${headers})
    get_filename_component(leaf ${header} NAME)
    file(CREATE_LINK ${header} ${root}/${lib_FOLDER}/${leaf} SYMBOLIC)
  endforeach()
  if(lib_SOURCES)
    add_library(${name} STATIC ${lib_SOURCES})
    target_include_directories(${name} PUBLIC ${root})
    target_link_libraries(${name} PUBLIC ${lib_DEPENDS} PRIVATE ${lib_PRIVATE_DEPENDS})
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${root})
    target_link_libraries(${name} INTERFACE ${lib_DEPENDS})
  endif()
endfunction()

# quillbrook_check_complete(PATTERN FILE ...): every file of this folder that the pattern matches is among those named.
function(quillbrook_check_complete pattern)
  file(GLOB found CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${pattern})
  list(REMOVE_ITEM found ${ARGN})
  if(found)
    message(FATAL_ERROR "in ${CMAKE_CURRENT_SOURCE_DIR}, but named by no target: ${found}")
  endif()
endfunction()

# quillbrook_tests(NAME SOURCES ... DEPENDS ... [PROPERTIES ...]): one test program a folder, every case a ctest test.
# A test file of the folder that is not among the sources fails the configuration: it would look like a test and be none.
function(quillbrook_tests name)
  cmake_parse_arguments(t "" "" "SOURCES;DEPENDS;PROPERTIES" ${ARGN})
  quillbrook_check_complete("*.cpp" ${t_SOURCES})
  add_executable(${name} ${t_SOURCES})
  target_link_libraries(${name} PRIVATE ${t_DEPENDS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600 ${t_PROPERTIES})
endfunction()
