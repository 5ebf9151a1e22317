# Request handling: all of the host that runs without a key store and without XML.
set(shared ${CMAKE_CURRENT_LIST_DIR})
add_library(requester STATIC ${shared}/base/Requester.cpp)
add_library(host STATIC
  ${shared}/messaging/FrameAssembler.cpp
  ${shared}/messaging/MessageExchange.cpp
  ${shared}/messaging/ProtocolDescriptors.cpp
  ${shared}/request/AnswerParts.cpp
  ${shared}/RequestHandler.cpp)
target_link_libraries(host PUBLIC jsonxx requester signature_record text)
# The fuzzer of frames takes one of its sources, and has no system behind it.
set_target_properties(host PROPERTIES UNITY_BUILD OFF)
