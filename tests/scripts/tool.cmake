# The qorbasic tool, driven as a process.
if(TARGET qorbasic_tool)
  add_test(NAME tool.CommandsExitStatusAndOutput
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/scripts/tool_test.sh $<TARGET_FILE:qorbasic_tool>)
  set_tests_properties(tool.CommandsExitStatusAndOutput PROPERTIES LABELS tool)
endif()
