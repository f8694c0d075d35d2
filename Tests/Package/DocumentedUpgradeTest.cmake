# cmake -DDOCUMENT=... -DEXAMPLE=... -DPROGRAM=... -DVERSION1=... -DVERSION2=... -DFOLDER=... -P: the worked upgrade is shown
# in the document as it is, and the commands of its script do what they say.
function(expect_in text part what)
  string(FIND "${text}" "${part}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "${what} lacks:\n${part}\nand is:\n${text}")
  endif()
endfunction()

file(READ "${DOCUMENT}" document)
foreach(file IN ITEMS Version1/Resources/notes.vxmodel Version2/Resources/notes.vxmodel Version2/NotesPlugin.cpp)
  file(READ "${EXAMPLE}/${file}" source)
  string(REPLACE "\n" "\n    " source "    ${source}") # as code, four spaces deep
  string(REGEX REPLACE "\n    (\n|$)" "\n\\1" source "${source}")
  expect_in("${document}" "${source}" "${DOCUMENT}")
endforeach()

set(ENV{LC_ALL} C.UTF-8)
execute_process(COMMAND "${EXAMPLE}/upgrade.sh" "${PROGRAM}" "${VERSION1}" "${VERSION2}" "${FOLDER}/home"
  OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "upgrade.sh failed: ${status}\n${output}\n${errors}")
endif()
foreach(part IN ITEMS
    "Nothing was changed. This is what would be copied:"
    "Note     2      2       0         priority: 2"
    "Sticker  1      0       1"
    "Upgraded the store notes."
    "Water the plants"
    "new in version 2"
    "is back as the store notes"
    "Data version  1"
    "Merged ${FOLDER}/home/notes-before.vxdatastore into the store notes."
    "Exported the store notes to ${FOLDER}/home/exported.vxdatastore.")
  expect_in("${output}" "${part}" "what upgrade.sh writes")
endforeach()
string(REGEX MATCH "--count\n4\n" counted "${output}") # two notes, and the same from the backup
if(NOT counted)
  message(FATAL_ERROR "The export has not four notes:\n${output}")
endif()
