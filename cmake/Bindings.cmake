# Bindings.cmake -- builds the two service proxies (bindings/*.cpp) once, as an object library that
# goes into both orvsoap libraries, and installs their headers.  Not the engine, not the model (see
# Model.cmake, which must be included first), not the tests (tests/proxies).
#
# After include():
#   ORVSOAP_BINDINGS_SOURCES   $<TARGET_OBJECTS:orvsoap_bindings>, to add to the add_library calls
#   ORVSOAP_BINDINGS_HEADERS   the public proxy headers (installed under include/orvsoap/bindings,
#                              where orvsoap.h finds them as "bindings/<Class>.h")

get_filename_component(_orv_bind_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)

set(ORVSOAP_BINDINGS_HEADERS
  ${_orv_bind_root}/bindings/ProfileSoapBindingProxy.h
  ${_orv_bind_root}/bindings/ProblemReportSoapBindingProxy.h)

add_library(orvsoap_bindings OBJECT
  ${_orv_bind_root}/bindings/soapcall.cpp
  ${_orv_bind_root}/bindings/ProfileSoapBindingProxy.cpp
  ${_orv_bind_root}/bindings/ProblemReportSoapBindingProxy.cpp)
add_dependencies(orvsoap_bindings orvsoap_codegen)
target_include_directories(orvsoap_bindings PRIVATE
  ${_orv_bind_root} ${_orv_bind_root}/engine ${ORVSOAP_GEN_DIR}/model ${_orv_bind_root}/frame)
target_link_libraries(orvsoap_bindings PUBLIC OpenSSL::SSL OpenSSL::Crypto)
if(ORVSOAP_MEMDEBUG)
  target_compile_definitions(orvsoap_bindings PUBLIC SOAP_MEM_DEBUG=1)
endif()

set(ORVSOAP_BINDINGS_SOURCES $<TARGET_OBJECTS:orvsoap_bindings>)

install(FILES ${ORVSOAP_BINDINGS_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvsoap/bindings)
