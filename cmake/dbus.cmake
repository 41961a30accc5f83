# sentrel_dbus_code(TARGET NAMESPACE XML...): a static library of proxies and skeletons generated from
# interface descriptions of platform/dbus. Its one header is TARGET.h.
find_program(GDBUS_CODEGEN gdbus-codegen REQUIRED)

function(sentrel_dbus_code target namespace)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/${target})
  set(xml)
  foreach(name IN LISTS ARGN)
    list(APPEND xml ${PROJECT_SOURCE_DIR}/platform/dbus/${name}.xml)
  endforeach()
  file(MAKE_DIRECTORY ${dir})
  add_custom_command(
    OUTPUT ${dir}/${target}.h ${dir}/${target}.c
    COMMAND ${GDBUS_CODEGEN} --interface-prefix com.orva. --c-namespace ${namespace}
            --generate-c-code ${target} --output-directory ${dir} ${xml}
    DEPENDS ${xml}
    VERBATIM)
  add_library(${target} STATIC ${dir}/${target}.c ${dir}/${target}.h)
  target_include_directories(${target} SYSTEM PUBLIC ${dir})
  target_link_libraries(${target} PUBLIC PkgConfig::GLIB)
endfunction()
