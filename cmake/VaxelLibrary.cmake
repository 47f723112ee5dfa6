# One static library per subsystem folder. Sources are collected by glob so
# that adding a format or a tool needs no edit here.
function(vaxel_library name folder)
  file(GLOB_RECURSE _srcs CONFIGURE_DEPENDS ${folder}/*.cpp)
  add_library(${name} STATIC ${_srcs})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARGN})
endfunction()
