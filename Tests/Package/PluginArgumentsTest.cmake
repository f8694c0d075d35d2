# cmake -DMODULE=VornixPlugin.cmake -DFOLDER=<scratch> -P: calls that vornix_add_plugin() refuses, and what it says.
# Each call runs in a process of its own, in a folder with the files below.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${FOLDER}")
file(WRITE "${FOLDER}/a.cpp" "")
file(WRITE "${FOLDER}/res/fr.lproj/InfoPlist.strings" "")

function(check_call expected_status expected_text call)
  file(WRITE "${FOLDER}/call.cmake" "include(\"${MODULE}\")\nvornix_check_plugin(${call})\n")
  execute_process(COMMAND ${CMAKE_COMMAND} -P call.cmake WORKING_DIRECTORY "${FOLDER}"
    RESULT_VARIABLE status ERROR_VARIABLE errors OUTPUT_VARIABLE errors)
  string(REGEX REPLACE "[ \n]+" " " errors "${errors}") # messages are wrapped
  string(FIND "${errors}" "${expected_text}" place)
  if(NOT status EQUAL expected_status OR place LESS 0 OR (expected_text STREQUAL "" AND NOT errors STREQUAL ""))
    message(SEND_ERROR "vornix_check_plugin(${call})\n  answers ${status}: ${errors}\n  and not ${expected_status}: ${expected_text}")
  endif()
endfunction()

set(good "X IDENTIFIER org.example.x NAME N KIND VXReactorPlugin VERSION 2000 SOURCES a.cpp")
macro(accepts call)
  check_call(0 "" "${call}")
endmacro()
macro(warns text call)
  check_call(0 "vornix_add_plugin(X): ${text}" "${call}")
endmacro()
macro(refuses text call)
  check_call(1 "vornix_add_plugin(X): ${text}" "${call}")
endmacro()

accepts("${good}")
accepts("${good} DEPENDENCIES POSTS_EVENTS INFO LINK") # from empty variables
accepts("X IDENTIFIER org.example.x KIND VXReactorPlugin VERSION 1 SOURCES a.cpp BUILT_IN")
accepts("${good} RESOURCES res DEVELOPMENT_REGION fr INFO A STRING \"\" B ARRAY \"x;y\" C INTEGER -1")

warns("the shared plugin folder ignores versions below 1945, as 1944.9"
  "X IDENTIFIER org.example.x NAME N KIND VXReactorPlugin VERSION 1944.9 SOURCES a.cpp")

refuses("IDENTIFIER is missing" "X")
refuses("SOURCES is missing" "X IDENTIFIER org.example.x NAME N KIND VXReactorPlugin VERSION 2000")
refuses("NAME is missing" "X IDENTIFIER org.example.x KIND VXReactorPlugin VERSION 2000 SOURCES a.cpp")
refuses("unknown argument \"SOURCE\"" "X SOURCE a.cpp")
refuses("NAME needs a value" "X IDENTIFIER org.example.x NAME KIND VXReactorPlugin VERSION 2000 SOURCES a.cpp")
refuses("BUILT_IN does not go with NAME" "${good} BUILT_IN")
refuses("BUILT_IN does not go with PARENT"
  "X IDENTIFIER org.example.x KIND VXReactorPlugin VERSION 1 SOURCES a.cpp BUILT_IN PARENT Y")
foreach(identifier IN ITEMS x org. .org "org..x" "org.exa mple" "org.example.ü")
  refuses("IDENTIFIER \"${identifier}\" is not of the form org.example.name"
    "X IDENTIFIER \"${identifier}\" NAME N KIND VXReactorPlugin VERSION 2000 SOURCES a.cpp")
endforeach()
foreach(version IN ITEMS 2000. 2.x v2 1..2 " 2000")
  refuses("VERSION \"${version}\" is not made of numbers and dots"
    "X IDENTIFIER org.example.x NAME N KIND VXReactorPlugin VERSION \"${version}\" SOURCES a.cpp")
endforeach()
refuses("KIND \"VXPlugin\" is none of VXDataPlugin, VXExporterPlugin"
  "X IDENTIFIER org.example.x NAME N KIND VXPlugin VERSION 2000 SOURCES a.cpp")
refuses("PRINCIPAL_CLASS \"my-class\" is no name of a class" "${good} PRINCIPAL_CLASS my-class")
refuses("DEPENDENCIES has \"y\", which is not of the form" "${good} DEPENDENCIES org.example.y y")
refuses("DEPENDENCIES has \"org.example.x\", which is the plugin itself" "${good} DEPENDENCIES org.example.x")
refuses("PARENT \"Y\" is no plugin declared before" "${good} PARENT Y")
refuses("PARENT does not go with OUTPUT and DESTINATION" "${good} PARENT Y DESTINATION d")
refuses("SOURCES has \"b.cpp\", which does not exist" "${good} b.cpp")
refuses("RESOURCES \"${FOLDER}/a.cpp\" is no folder" "${good} RESOURCES a.cpp")
refuses("RESOURCES has no en.lproj" "${good} RESOURCES res")
refuses("ICON \"${FOLDER}/missing.svg\" is no file" "${good} ICON missing.svg")
refuses("DEFAULTS \"${FOLDER}/res\" is no file" "${good} DEFAULTS res")
refuses("INFO has CFBundleVersion, which other arguments give" "${good} INFO CFBundleVersion STRING 1")
refuses("INFO has A twice" "${good} INFO A STRING 1 A STRING 2")
refuses("INFO has VXPostsEvents beside POSTS_EVENTS" "${good} POSTS_EVENTS e INFO VXPostsEvents XML <dict/>")
refuses("INFO A has the type \"true\", which is none of STRING, BOOLEAN, INTEGER, ARRAY, XML" "${good} INFO A true")
refuses("INFO A lacks its value" "${good} INFO A STRING")
refuses("INFO A is \"yes\", and must be true or false" "${good} INFO A BOOLEAN yes")
refuses("INFO A is \"1.5\", and must be an integer" "${good} INFO A INTEGER 1.5")
refuses("INFO A is \"text\", and must be one element of a property list" "${good} INFO A XML text")

set(store "X IDENTIFIER org.example.x NAME N KIND VXDataPlugin VERSION 2000 SOURCES a.cpp INFO")
accepts("${store} VXDataStoreName STRING notes VXDataStoreType STRING xml VXDataStoreVersion STRING 1.10")
refuses("INFO has no VXDataStoreName" "${store} A STRING 1")
refuses("INFO has no VXDataStoreName" "${store} VXDataStoreName STRING a/b VXDataStoreType STRING xml")
refuses("INFO VXDataStoreType is \"SQLite\"" "${store} VXDataStoreName STRING a VXDataStoreType STRING SQLite")
refuses("INFO VXDataStoreVersion is of the type INTEGER"
  "${store} VXDataStoreName STRING a VXDataStoreType STRING xml VXDataStoreVersion INTEGER 1")
refuses("INFO VXDataStoreVersion \"one\" is not made of numbers"
  "${store} VXDataStoreName STRING a VXDataStoreType STRING xml VXDataStoreVersion STRING one")
refuses("MODEL_IMPORTS has \"${FOLDER}/b.mom\", which does not exist" "${good} MODEL_IMPORTS b.mom")
