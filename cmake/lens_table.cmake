# The lens table (profiles/lens_table_data.h) is generated at build time from
# the lens database installed on the build machine, by ortavel-lens-table-gen
# (tools/lens_table, which needs lensfun). Nothing generated is committed.
#
# A native build builds the generator as one of its targets. A cross build
# (make windows) cannot run what it compiles, so it builds the generator
# separately with the build machine's compiler, as an external project, and
# runs that: `make windows` works alone from a clean checkout, given the
# Debian packages of the build and windows groups of scripts/ensure-deps.
#
# Defines ORTAVEL_LENS_TABLE_SOURCE, the generated file, and the target
# ortavel_lens_table_data that makes it.
set(ORTAVEL_LENS_TABLE_SOURCE ${CMAKE_BINARY_DIR}/generated/profiles/lens_table_data.cpp)
# Only the system's database goes into the table, never a user's own files.
set(_lens_table_home ${CMAKE_BINARY_DIR}/generated/no-user-data)
file(GLOB _lens_table_db CONFIGURE_DEPENDS /usr/share/lensfun/version_1/*.xml)

if(CMAKE_CROSSCOMPILING)
  include(ExternalProject)
  set(_gen_dir ${CMAKE_BINARY_DIR}/lens-table-gen-host)
  set(_gen ${_gen_dir}/ortavel-lens-table-gen)
  ExternalProject_Add(ortavel_lens_table_gen_host
    SOURCE_DIR ${PROJECT_SOURCE_DIR}/tools/lens_table
    BINARY_DIR ${_gen_dir}
    CMAKE_ARGS -DCMAKE_BUILD_TYPE=Release
    INSTALL_COMMAND ""
    BUILD_BYPRODUCTS ${_gen})
  set(_gen_dep ortavel_lens_table_gen_host)
else()
  add_subdirectory(${PROJECT_SOURCE_DIR}/tools/lens_table ${CMAKE_BINARY_DIR}/tools/lens_table)
  set(_gen $<TARGET_FILE:ortavel-lens-table-gen>)
  set(_gen_dep ortavel-lens-table-gen)
endif()

add_custom_command(
  OUTPUT ${ORTAVEL_LENS_TABLE_SOURCE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${_lens_table_home}
  # In a sanitizer build the generator is instrumented too: what lensfun's
  # GLib keeps for the process's life is no leak of ours.
  COMMAND ${CMAKE_COMMAND} -E env XDG_DATA_HOME=${_lens_table_home}
          "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0"
          ${_gen} ${ORTAVEL_LENS_TABLE_SOURCE}
  DEPENDS ${_gen_dep} ${_lens_table_db}
  COMMENT "Writing the lens table from the lens database"
  VERBATIM)
add_custom_target(ortavel_lens_table_data DEPENDS ${ORTAVEL_LENS_TABLE_SOURCE})
