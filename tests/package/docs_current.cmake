# Writes the API reference afresh and fails when it differs from the
# committed docs/api.md: run `make docs` after changing a header comment.
string(REPLACE "|" ";" generate "${GENERATE}")
execute_process(COMMAND ${generate} --output ${OUTPUT} ${SOURCE} RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "tools/api_docs.py failed")
endif()
file(READ ${OUTPUT} fresh)
file(READ ${SOURCE}/docs/api.md committed)
if(NOT fresh STREQUAL committed)
  message(FATAL_ERROR "docs/api.md is out of date: run `make docs`")
endif()
