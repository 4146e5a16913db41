# One layer of the system: a static library whose include path shows its own folder and the folders it depends on,
# and nothing else. Headers are included by their full name ("ipc/message.h"); a folder becomes visible through a
# directory that holds only a link to it.

set(CORVANE_LAYERS_DIR "${CMAKE_BINARY_DIR}/layers" CACHE PATH "Where the per-layer include roots are made")

# corvane_include_root(result name folder)
#   Sets `result` to a directory in which only `folder`, below the source root, is visible under its full name.
function(corvane_include_root result name folder)
  set(root "${CORVANE_LAYERS_DIR}/${name}")
  get_filename_component(parent "${root}/${folder}" DIRECTORY)
  file(MAKE_DIRECTORY "${parent}")
  file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${folder}" "${root}/${folder}" SYMBOLIC)
  set(${result} "${root}" PARENT_SCOPE)
endfunction()

# corvane_layer(name FOLDER folder SOURCES file... [DEPENDS layer...] [LIBS target...] [PLAIN])
#   FOLDER   the layer's folder below the source root ("webview/gtk")
#   DEPENDS  layers whose headers this one may include, and whoever includes this one's
#   LIBS     further libraries and layers, private to this one
#   PLAIN    compile without exceptions and run-time type information
function(corvane_layer name)
  cmake_parse_arguments(arg "PLAIN" "FOLDER" "SOURCES;DEPENDS;LIBS" ${ARGN})
  corvane_include_root(root ${name} "${arg_FOLDER}")

  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC "${root}")
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE corvane_flags ${arg_LIBS})
  if(arg_PLAIN)
    target_link_libraries(${name} PRIVATE corvane_plain_flags)
  endif()
endfunction()
