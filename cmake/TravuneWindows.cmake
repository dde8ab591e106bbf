# Windows specifics of the build: DLL names without a "lib" prefix, all four modules in the
# build directory, the driver library's entries exported by ordinal through its .def file, and
# the type library compiled with widl and carried by travune.dll as a resource.
foreach(module travune qulix wrtblk32)
  set_target_properties(${module} PROPERTIES PREFIX "" RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
endforeach()
target_sources(qulix PRIVATE ${PROJECT_SOURCE_DIR}/drivers/qulix/qulix.def)

# Random names of private temporary directories.
target_link_libraries(travune_obj PUBLIC bcrypt)
target_link_libraries(travune PRIVATE bcrypt)

# widl 7 refuses help strings on enumerators, so it gets a copy of the IDL without them; the
# type library keeps the enumerations, their values and every other help string.
set(TRAVUNE_IDL ${PROJECT_SOURCE_DIR}/include/travune/travune.idl)
set(TRAVUNE_WIDL_INPUT ${PROJECT_BINARY_DIR}/typelib/travune.idl)
set(TRAVUNE_TYPELIB ${PROJECT_BINARY_DIR}/typelib/travune.tlb)
find_path(TRAVUNE_IDL_INCLUDE oaidl.idl PATHS /usr/include/wine/wine/windows /usr/include/wine/windows
  NO_CMAKE_FIND_ROOT_PATH REQUIRED)
add_custom_command(OUTPUT ${TRAVUNE_TYPELIB}
  COMMAND sed -E "s/\\[helpstring\\(\"[^\"]*\"\\)\\] ([A-Za-z]+ = )/\\1/" ${TRAVUNE_IDL} > ${TRAVUNE_WIDL_INPUT}
  COMMAND ${TRAVUNE_WIDL} -m64 -t -I ${TRAVUNE_IDL_INCLUDE} -o ${TRAVUNE_TYPELIB} ${TRAVUNE_WIDL_INPUT}
  DEPENDS ${TRAVUNE_IDL}
  COMMENT "Compiling the type library"
  VERBATIM)
configure_file(${PROJECT_SOURCE_DIR}/cmake/travune.rc.in ${PROJECT_BINARY_DIR}/typelib/travune.rc @ONLY)
set_source_files_properties(${PROJECT_BINARY_DIR}/typelib/travune.rc PROPERTIES OBJECT_DEPENDS ${TRAVUNE_TYPELIB})
target_sources(travune PRIVATE ${PROJECT_BINARY_DIR}/typelib/travune.rc)
