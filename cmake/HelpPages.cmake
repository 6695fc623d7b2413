# A program's --help text and manual page come from one file,
# data/help/<program>.help, through scripts/help_pages.py.
# Paths from the source root, found from this file: the fuzz build includes it
# from a project of its own.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
get_filename_component(VOCARTA_HELP_ROOT ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
set(VOCARTA_HELP_SCRIPT ${VOCARTA_HELP_ROOT}/scripts/help_pages.py)
set(VOCARTA_GENERATED_DIR ${PROJECT_BINARY_DIR}/generated)

# Gives `target` the header "help/<program>_help.h" defining `symbol`, the text
# of <program> --help.
function(vocarta_help_header target program symbol)
  set(source ${VOCARTA_HELP_ROOT}/data/help/${program}.help)
  set(header ${VOCARTA_GENERATED_DIR}/help/${program}_help.h)
  add_custom_command(
    OUTPUT ${header}
    COMMAND ${Python3_EXECUTABLE} ${VOCARTA_HELP_SCRIPT} header ${source} ${header} ${symbol}
    DEPENDS ${source} ${VOCARTA_HELP_SCRIPT}
    COMMENT "Help text of ${program}")
  target_sources(${target} PRIVATE ${header})
  target_include_directories(${target} PRIVATE ${VOCARTA_GENERATED_DIR})
endfunction()

# Makes man/<program>.1 (and its gzip for installing) in the build folder.
function(vocarta_man_page program out_var)
  set(source ${VOCARTA_HELP_ROOT}/data/help/${program}.help)
  set(page ${PROJECT_BINARY_DIR}/man/${program}.1)
  add_custom_command(
    OUTPUT ${page} ${page}.gz
    COMMAND ${Python3_EXECUTABLE} ${VOCARTA_HELP_SCRIPT} man ${source} ${page} ${PROJECT_VERSION}
    COMMAND gzip -9nkf ${page}
    DEPENDS ${source} ${VOCARTA_HELP_SCRIPT}
    COMMENT "Manual page ${program}(1)")
  set(${out_var} ${page} ${page}.gz PARENT_SCOPE)
endfunction()
