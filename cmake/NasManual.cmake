# The manual. Section 3 comes from the comments of the public headers, nasctl(1) from nasctl itself, the other pages
# from sections of the host's documents: a new function, command or setting needs nothing here.
find_package(Python3 3.11 COMPONENTS Interpreter)
if(NOT Python3_FOUND)
  message(STATUS "No manual pages: they are made with Python 3.11 or later")
  return()
endif()

set(nas_man_dir ${PROJECT_BINARY_DIR}/man)
set(nas_man_tools ${PROJECT_SOURCE_DIR}/tools/man)
file(GLOB nas_man_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/nas/*.h)
file(GLOB nas_man_scripts CONFIGURE_DEPENDS ${nas_man_tools}/*.py)

# nas_man_pages(NAME COMMAND script arguments... SECTIONS numbers... DEPENDS files...): made afresh, so that nothing
# old stays.
function(nas_man_pages name)
  cmake_parse_arguments(PARSE_ARGV 1 man "" "" "COMMAND;SECTIONS;DEPENDS")
  list(TRANSFORM man_SECTIONS PREPEND ${nas_man_dir}/man OUTPUT_VARIABLE folders)
  list(POP_FRONT man_COMMAND script)
  add_custom_command(OUTPUT ${nas_man_dir}/${name}.stamp
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${folders}
    COMMAND ${Python3_EXECUTABLE} -B ${nas_man_tools}/${script} ${PROJECT_VERSION} ${nas_man_dir} ${man_COMMAND}
    COMMAND ${CMAKE_COMMAND} -E touch ${nas_man_dir}/${name}.stamp
    DEPENDS ${nas_man_scripts} ${man_DEPENDS} VERBATIM)
  add_custom_target(nas_man_${name} ALL DEPENDS ${nas_man_dir}/${name}.stamp)
  add_dependencies(nas_man nas_man_${name})
endfunction()

add_custom_target(nas_man)
nas_man_pages(library COMMAND header_pages.py ${nas_man_headers} SECTIONS 3 DEPENDS ${nas_man_headers})
install(DIRECTORY ${nas_man_dir}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT nas_development)
if(NAS_BUILD_HOST)
  set(nas_man_host ${PROJECT_SOURCE_DIR}/host/man/pages.toml)
  set(nas_man_text ${PROJECT_SOURCE_DIR}/host/README.md)
  nas_man_pages(host COMMAND document_pages.py ${nas_man_host} SECTIONS 5 7 8
    DEPENDS ${nas_man_host} ${nas_man_text} ${PROJECT_SOURCE_DIR}/docs/porting.md)
  nas_man_pages(nasctl COMMAND command_page.py ${nas_man_text} $<TARGET_FILE:nasctl> SECTIONS 1
    DEPENDS nasctl ${nas_man_text})
  install(DIRECTORY ${nas_man_dir}/man1 ${nas_man_dir}/man5 ${nas_man_dir}/man7 ${nas_man_dir}/man8
    DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT nas_host)
endif()
