# Every code example of the public headers' opening comments and of README.md
# compiles as written, and a README example with a main() prints what it shows.
# Not under the sanitizers, where a client would need their runtime too.
find_program(QOR_PYTHON3 python3)
if(NOT QOR_SANITIZE AND QOR_PYTHON3)
  add_test(NAME examples.HeaderAndReadmeExamplesBuildAsWritten
    COMMAND ${QOR_PYTHON3} ${PROJECT_SOURCE_DIR}/scripts/check-examples.py
            ${PROJECT_SOURCE_DIR} ${CMAKE_CXX_COMPILER} $<TARGET_FILE:qorbasic>)
  set_tests_properties(examples.HeaderAndReadmeExamplesBuildAsWritten PROPERTIES LABELS docs)
endif()
