# Model.cmake -- generates the message model from schema/*.xsd and schema/typeids.map with
# codegen/orvgen.py, and builds the object frame (generated tables + frame/*.cpp) as one object
# library.  Not the engine, the proxies or the tests' wiring (see tests/model, tests/codegen).
#
# After include():
#   ORVSOAP_FRAME_SOURCES        $<TARGET_OBJECTS:orvsoap_model>, to link into the libraries
#                                in place of engine/noframe.cpp
#   ORVSOAP_GEN_DIR              where the generated model/ and frame/ directories are
#   orvsoap_use_model(<target>)  adds the model's include directories to a library target
# Editing a schema file or a generator source regenerates and rebuilds what depends on it.

get_filename_component(ORVSOAP_ROOT "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
find_package(Python3 COMPONENTS Interpreter REQUIRED)

set(ORVSOAP_GEN_DIR ${CMAKE_BINARY_DIR}/generated)
file(GLOB ORVSOAP_SCHEMA_FILES CONFIGURE_DEPENDS ${ORVSOAP_ROOT}/schema/*.xsd ${ORVSOAP_ROOT}/schema/typeids.map)
file(GLOB ORVSOAP_CODEGEN_SOURCES CONFIGURE_DEPENDS ${ORVSOAP_ROOT}/codegen/*.py)

# The output list is fixed by the generator (not by the schema), so it is known at configure time.
execute_process(COMMAND ${Python3_EXECUTABLE} ${ORVSOAP_ROOT}/codegen/orvgen.py --list
                OUTPUT_VARIABLE _orv_outputs RESULT_VARIABLE _orv_rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT _orv_rc EQUAL 0)
  message(FATAL_ERROR "codegen/orvgen.py --list failed")
endif()
string(REPLACE "\n" ";" _orv_outputs "${_orv_outputs}")
set(ORVSOAP_GENERATED)
set(ORVSOAP_GENERATED_SOURCES)
foreach(_f IN LISTS _orv_outputs)
  list(APPEND ORVSOAP_GENERATED ${ORVSOAP_GEN_DIR}/${_f})
  if(_f MATCHES "\\.cpp$")
    list(APPEND ORVSOAP_GENERATED_SOURCES ${ORVSOAP_GEN_DIR}/${_f})
  endif()
endforeach()

add_custom_command(
  OUTPUT ${ORVSOAP_GENERATED}
  COMMAND ${Python3_EXECUTABLE} ${ORVSOAP_ROOT}/codegen/orvgen.py --schema ${ORVSOAP_ROOT}/schema --out ${ORVSOAP_GEN_DIR}
  DEPENDS ${ORVSOAP_SCHEMA_FILES} ${ORVSOAP_CODEGEN_SOURCES}
  COMMENT "Generating the message model from schema/"
  VERBATIM)
add_custom_target(orvsoap_codegen DEPENDS ${ORVSOAP_GENERATED})

add_library(orvsoap_model OBJECT
  ${ORVSOAP_GENERATED_SOURCES}
  ${ORVSOAP_ROOT}/frame/frame.cpp
  ${ORVSOAP_ROOT}/frame/dispatch.cpp
  ${ORVSOAP_ROOT}/frame/prims.cpp
  ${ORVSOAP_ROOT}/frame/soapenv.cpp)
add_dependencies(orvsoap_model orvsoap_codegen)
target_include_directories(orvsoap_model
  PUBLIC $<BUILD_INTERFACE:${ORVSOAP_GEN_DIR}/model> $<BUILD_INTERFACE:${ORVSOAP_ROOT}/frame>
         $<BUILD_INTERFACE:${ORVSOAP_ROOT}/engine>
  PRIVATE ${ORVSOAP_GEN_DIR}/frame ${ORVSOAP_ROOT})
target_link_libraries(orvsoap_model PUBLIC OpenSSL::SSL OpenSSL::Crypto)
if(ORVSOAP_MEMDEBUG)
  target_compile_definitions(orvsoap_model PUBLIC SOAP_MEM_DEBUG=1)
endif()

set(ORVSOAP_FRAME_SOURCES $<TARGET_OBJECTS:orvsoap_model>)

function(orvsoap_use_model tgt)
  add_dependencies(${tgt} orvsoap_codegen)
  target_include_directories(${tgt} PUBLIC
    $<BUILD_INTERFACE:${ORVSOAP_GEN_DIR}/model>
    $<BUILD_INTERFACE:${ORVSOAP_ROOT}/frame>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/orvsoap/model>)
endfunction()

# Public headers of the model: the generated declarations and the primitives they include.
set(_orv_headers ${ORVSOAP_ROOT}/frame/soapprims.h)
foreach(_f IN LISTS _orv_outputs)
  if(_f MATCHES "^model/.*\\.h$")
    list(APPEND _orv_headers ${ORVSOAP_GEN_DIR}/${_f})
  endif()
endforeach()
install(FILES ${_orv_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvsoap/model)
