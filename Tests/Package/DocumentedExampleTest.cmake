# cmake -DDOCUMENT=... -DEXAMPLE=... -DPROGRAM=... -DFOLDER=... -P: the example is shown in the document as it is, and
# does what the document says. Both are found there as code, four spaces deep.
function(indent text result)
  string(REPLACE "\n" "\n    " text "    ${text}")
  string(REGEX REPLACE "\n    (\n|$)" "\n\\1" text "${text}") # lines without text, and the end
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

function(expect_in_document text what)
  indent("${text}" shown)
  file(READ "${DOCUMENT}" document)
  string(FIND "${document}" "${shown}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "${DOCUMENT} does not show ${what}:\n${text}")
  endif()
endfunction()

file(READ "${EXAMPLE}" source)
expect_in_document("${source}" "${EXAMPLE}")

file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
execute_process(COMMAND "${PROGRAM}" "${FOLDER}/calls.sqlite" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
expect_in_document("${output}" "what ${PROGRAM} writes")
