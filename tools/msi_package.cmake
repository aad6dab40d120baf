# Windows Installer packages built from WiX sources by wixl, then completed
# by msi_fixture (tools/msi_fixture.cc) with what wixl cannot write. The
# test packages (tests/fixtures) and the demo's package
# (examples/terminal-installer) are made this way. Nothing built is
# committed.
#
#   add_msi_package(NAME OUTPUT_DIR DIR WXS main.wxs [SOURCES more.wxs ...]
#                   [WORKING_DIRECTORY DIR] [DEPENDS file-or-target ...]
#                   [SCRIPTS a.sql b.idt ...] [SQL "stmt" ...] [SUMMARY "PID=VALUE" ...])
#
# Builds DIR/NAME.msi. Relative WXS, SOURCES and SCRIPTS paths are taken
# from the calling CMakeLists.txt's folder. wixl runs in WORKING_DIRECTORY
# (that folder by default): File sources are relative to it, since wixl
# takes no absolute ones. SQL statements apply after the scripts.
find_program(WIXL_EXECUTABLE wixl REQUIRED)

function(add_msi_package name)
  cmake_parse_arguments(P "" "OUTPUT_DIR;WXS;WORKING_DIRECTORY" "SOURCES;DEPENDS;SCRIPTS;SQL;SUMMARY" ${ARGN})
  if(NOT P_WORKING_DIRECTORY)
    set(P_WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  set(output "${P_OUTPUT_DIR}/${name}.msi")
  set(partial "${P_OUTPUT_DIR}/${name}.partial")
  set(sources "")
  foreach(source ${P_WXS} ${P_SOURCES})
    get_filename_component(source "${source}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
    list(APPEND sources "${source}")
  endforeach()
  set(arguments "")
  set(depends ${sources} ${P_DEPENDS} msi_fixture)
  foreach(script ${P_SCRIPTS})
    get_filename_component(script "${script}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
    list(APPEND arguments "${script}")
    list(APPEND depends "${script}")
  endforeach()
  foreach(statement ${P_SQL})
    list(APPEND arguments -q "${statement}")
  endforeach()
  foreach(assignment ${P_SUMMARY})
    list(APPEND arguments -s "${assignment}")
  endforeach()
  # Built under another name and renamed last, so a failed step never
  # leaves a half-made package that looks up to date.
  add_custom_command(OUTPUT "${output}"
    COMMAND "${WIXL_EXECUTABLE}" -o "${partial}" ${sources}
    COMMAND msi_fixture "${partial}" ${arguments}
    COMMAND "${CMAKE_COMMAND}" -E rename "${partial}" "${output}"
    DEPENDS ${depends}
    WORKING_DIRECTORY "${P_WORKING_DIRECTORY}"
    COMMENT "Building package ${name}.msi"
    VERBATIM)
endfunction()
