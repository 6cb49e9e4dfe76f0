# One static library a room of src/, so that a test links only the rooms it tests.
# A room without sources yet is an interface library.
function(velmora_room name)
  cmake_parse_arguments(ROOM "RECURSE" "" "LINKS" ${ARGN})
  if(ROOM_RECURSE)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "/platform/desktop/")
  else()
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
  endif()
  set(target velmora_${name})
  if(sources)
    add_library(${target} STATIC ${sources})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${target} PUBLIC ${ROOM_LINKS})
    target_precompile_headers(${target} PRIVATE
      <functional> <memory> <mutex> <optional>
      <QtCore/QByteArray> <QtCore/QDateTime> <QtCore/QHash> <QtCore/QList> <QtCore/QMap>
      <QtCore/QString> <QtCore/QStringList> <QtCore/QUrl> <QtCore/QVariant>)
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${target} INTERFACE ${ROOM_LINKS})
  endif()
endfunction()

# tests/<folder>/*Test.cpp become one program test_<folder>.
function(velmora_tests folder)
  cmake_parse_arguments(TESTS "" "TIMEOUT" "LINKS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp)
  if(NOT sources)
    return()
  endif()
  if(NOT TESTS_TIMEOUT)
    set(TESTS_TIMEOUT 120)
  endif()
  set(target test_${folder})
  add_executable(${target} ${sources})
  target_link_libraries(${target} PRIVATE ${TESTS_LINKS} velmora_testsupport)
  target_precompile_headers(${target} PRIVATE
    <gtest/gtest.h> <gmock/gmock.h> <QtCore/QString> <QtCore/QVariant> <QtCore/QDateTime> <QtCore/QUrl>)
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${folder}." PROPERTIES TIMEOUT ${TESTS_TIMEOUT})
endfunction()
