# The shared object exports its flat functions and level pointers under
# their own names, no standard library symbol, and nothing internal.
add_test(NAME exports.FlatNamesUnmangledNothingInternal
  COMMAND bash ${PROJECT_SOURCE_DIR}/scripts/check-exports.sh $<TARGET_FILE:qorbasic>
          ${CMAKE_CURRENT_SOURCE_DIR}/scripts/flat_symbols.txt
          ${CMAKE_CURRENT_SOURCE_DIR}/scripts/test_seams.txt)
