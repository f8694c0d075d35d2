# vornix_add_plugin(): makes plugin bundles. Part of the installed package, and used for the plugins that ship.
#
# vornix_add_plugin(<target>
#   IDENTIFIER <id>          unique among all plugins, as org.example.hello
#   NAME <name>              shown to people; xx.lproj/InfoPlist.strings may translate it ("VXPluginName")
#   KIND <kind>              the base class of the plugin's kind, as VXInterfacePlugin
#   VERSION <n[.n...]>       orders copies of the plugin; the shared plugin folder takes 1945 and above
#   SOURCES <file>...        one of them has VX_PRINCIPAL_CLASS(<class>)
#   [SHORT_VERSION <text>]   shown to people; VERSION without
#   [PRINCIPAL_CLASS <class>]  <target> without
#   [DEPENDENCIES <id>...]   plugins that are loaded first
#   [POSTS_EVENTS <event>...]  names of the events that the plugin posts
#   [RESOURCES <folder>]     copied to Contents/Resources, with its xx.lproj folders
#   [DEVELOPMENT_REGION <language>]  whose xx.lproj serves users of all other languages; "en" without
#   [DEFAULTS <file.plist>]  values of user defaults to register
#   [ICON <file>]            an image
#   [INFO <key> <STRING|BOOLEAN|INTEGER|ARRAY|XML> <value> ...]  further keys; an array as "a;b", XML as it stands
#   [LINK <library>...]      besides the framework
#   [PARENT <target>]        a plugin declared before, which this one becomes a child of
#   [BUILT_IN]               always enabled; goes without NAME, and into the application or the framework only
#   [OUTPUT <folder>]        where the bundle is made; without, in VORNIX_PLUGIN_OUTPUT or the current binary folder
#   [DESTINATION <folder>])  where `cmake --install` puts it; nowhere without
#
# The bundle is <target>.vxplugin; the target property VORNIX_PLUGIN_BUNDLE holds its path. Mistakes end the
# configuration with a message. vornix_check_plugin() takes the same arguments and only checks them.

include_guard(GLOBAL)
cmake_policy(PUSH)
cmake_policy(VERSION 3.25)

macro(_vornix_parse_plugin_arguments)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "BUILT_IN"
    "IDENTIFIER;NAME;KIND;VERSION;SHORT_VERSION;PRINCIPAL_CLASS;RESOURCES;DEVELOPMENT_REGION;DEFAULTS;ICON;PARENT;OUTPUT;DESTINATION"
    "SOURCES;DEPENDENCIES;POSTS_EVENTS;INFO;LINK")
  _vornix_default(ARG_SHORT_VERSION "${ARG_VERSION}")
  _vornix_default(ARG_PRINCIPAL_CLASS "${target}")
  _vornix_default(ARG_DEVELOPMENT_REGION en)
  foreach(path IN ITEMS ARG_RESOURCES ARG_DEFAULTS ARG_ICON)
    if(${path})
      cmake_path(ABSOLUTE_PATH ${path} BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
    endif()
  endforeach()
endmacro()

macro(_vornix_default variable value)
  if(NOT DEFINED ${variable})
    set(${variable} "${value}")
  endif()
endmacro()

# The checks: the arguments are the caller's ARG_*. The first problem ends the configuration.
function(_vornix_refuse problem)
  message(FATAL_ERROR "vornix_add_plugin(${target}): ${problem}")
endfunction()

function(_vornix_check_presence)
  if(ARG_UNPARSED_ARGUMENTS)
    list(GET ARG_UNPARSED_ARGUMENTS 0 first)
    _vornix_refuse("unknown argument \"${first}\"")
  endif()
  # A list may be given by an empty variable.
  set(missing ${ARG_KEYWORDS_MISSING_VALUES})
  list(REMOVE_ITEM missing DEPENDENCIES POSTS_EVENTS INFO LINK)
  if(missing)
    list(GET missing 0 first)
    _vornix_refuse("${first} needs a value")
  endif()
  foreach(required IN ITEMS IDENTIFIER KIND VERSION SOURCES)
    if("${ARG_${required}}" STREQUAL "")
      _vornix_refuse("${required} is missing")
    endif()
  endforeach()
  if(ARG_BUILT_IN AND ARG_PARENT)
    _vornix_refuse("BUILT_IN does not go with PARENT: a child is enabled when its parent is")
  elseif(ARG_BUILT_IN AND DEFINED ARG_NAME)
    _vornix_refuse("BUILT_IN does not go with NAME: a name is what marks a plugin that can be switched off")
  elseif(NOT ARG_BUILT_IN AND "${ARG_NAME}" STREQUAL "")
    _vornix_refuse("NAME is missing: a plugin without one counts as built in and cannot be switched off; say \
BUILT_IN where that is meant")
  endif()
endfunction()

function(_vornix_check_identity)
  set(identifier_form "^[A-Za-z0-9-]+(\\.[A-Za-z0-9-]+)+$")
  set(kinds VXDataPlugin VXExporterPlugin VXReactorPlugin VXInterfacePlugin VXPhonebookPlugin VXDevicePlugin
    VXConduitPlugin)
  if(NOT ARG_IDENTIFIER MATCHES "${identifier_form}")
    _vornix_refuse("IDENTIFIER \"${ARG_IDENTIFIER}\" is not of the form org.example.name")
  endif()
  if(NOT ARG_KIND IN_LIST kinds)
    list(JOIN kinds ", " known)
    _vornix_refuse("KIND \"${ARG_KIND}\" is none of ${known}")
  endif()
  if(NOT ARG_VERSION MATCHES "^[0-9]+(\\.[0-9]+)*$")
    _vornix_refuse("VERSION \"${ARG_VERSION}\" is not made of numbers and dots, as 2000.1")
  endif()
  if(NOT ARG_PRINCIPAL_CLASS MATCHES "^[A-Za-z_][A-Za-z0-9_]*(::[A-Za-z_][A-Za-z0-9_]*)*$")
    _vornix_refuse("PRINCIPAL_CLASS \"${ARG_PRINCIPAL_CLASS}\" is no name of a class")
  endif()
  foreach(dependency IN LISTS ARG_DEPENDENCIES)
    if(NOT dependency MATCHES "${identifier_form}")
      _vornix_refuse("DEPENDENCIES has \"${dependency}\", which is not of the form org.example.name")
    elseif(dependency STREQUAL ARG_IDENTIFIER)
      _vornix_refuse("DEPENDENCIES has \"${dependency}\", which is the plugin itself")
    endif()
  endforeach()
  if(ARG_PARENT)
    if(ARG_OUTPUT OR ARG_DESTINATION)
      _vornix_refuse("PARENT does not go with OUTPUT and DESTINATION: a child lies in its parent's bundle")
    endif()
    set(parent_bundle "")
    if(TARGET ${ARG_PARENT})
      get_property(parent_bundle TARGET ${ARG_PARENT} PROPERTY VORNIX_PLUGIN_BUNDLE)
    endif()
    if(NOT parent_bundle)
      _vornix_refuse("PARENT \"${ARG_PARENT}\" is no plugin declared before")
    endif()
  endif()
endfunction()

function(_vornix_check_files)
  foreach(source IN LISTS ARG_SOURCES)
    get_property(is_generated SOURCE "${source}" PROPERTY GENERATED)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" OUTPUT_VARIABLE path)
    if(NOT is_generated AND NOT source MATCHES "\\$<" AND NOT EXISTS "${path}")
      _vornix_refuse("SOURCES has \"${source}\", which does not exist")
    endif()
  endforeach()
  foreach(keyword IN ITEMS DEFAULTS ICON)
    if(ARG_${keyword} AND (NOT EXISTS "${ARG_${keyword}}" OR IS_DIRECTORY "${ARG_${keyword}}"))
      _vornix_refuse("${keyword} \"${ARG_${keyword}}\" is no file")
    endif()
  endforeach()
  if(NOT ARG_RESOURCES)
    return()
  endif()
  if(NOT IS_DIRECTORY "${ARG_RESOURCES}")
    _vornix_refuse("RESOURCES \"${ARG_RESOURCES}\" is no folder")
  endif()
  file(GLOB languages RELATIVE "${ARG_RESOURCES}" "${ARG_RESOURCES}/*.lproj")
  if(languages AND NOT "${ARG_DEVELOPMENT_REGION}.lproj" IN_LIST languages)
    _vornix_refuse("RESOURCES has no ${ARG_DEVELOPMENT_REGION}.lproj, for users of languages that it lacks; \
DEVELOPMENT_REGION names another language for them")
  endif()
endfunction()

function(_vornix_check_info)
  set(own_keys CFBundleIdentifier CFBundleVersion CFBundleShortVersionString CFBundleExecutable CFBundleName
    CFBundlePackageType CFBundleDevelopmentRegion CFBundleIconFile NSPrincipalClass VXPluginName VXPluginClass
    VXPluginDependencies)
  set(part key)
  foreach(word IN LISTS ARG_INFO)
    set(${part} "${word}")
    if(part STREQUAL "key")
      if(word IN_LIST own_keys)
        _vornix_refuse("INFO has ${word}, which other arguments give")
      elseif(word IN_LIST seen)
        _vornix_refuse("INFO has ${word} twice")
      elseif(word STREQUAL "VXPostsEvents" AND ARG_POSTS_EVENTS)
        _vornix_refuse("INFO has VXPostsEvents beside POSTS_EVENTS")
      endif()
      list(APPEND seen "${word}")
      set(part type)
    elseif(part STREQUAL "type")
      if(NOT word MATCHES "^(STRING|BOOLEAN|INTEGER|ARRAY|XML)$")
        _vornix_refuse("INFO ${key} has the type \"${word}\", which is none of STRING, BOOLEAN, INTEGER, ARRAY, XML")
      endif()
      set(part value)
    else()
      set(part key)
      if(type STREQUAL "BOOLEAN" AND NOT word MATCHES "^(true|false)$")
        _vornix_refuse("INFO ${key} is \"${word}\", and must be true or false")
      elseif(type STREQUAL "INTEGER" AND NOT word MATCHES "^-?[0-9]+$")
        _vornix_refuse("INFO ${key} is \"${word}\", and must be an integer")
      elseif(type STREQUAL "XML" AND NOT word MATCHES "^<.*>$")
        _vornix_refuse("INFO ${key} is \"${word}\", and must be one element of a property list")
      endif()
    endif()
  endforeach()
  if(NOT part STREQUAL "key")
    _vornix_refuse("INFO ${key} lacks its ${part}: it takes a key, a type and a value each time")
  endif()
endfunction()

function(_vornix_check_plugin_arguments)
  _vornix_check_presence()
  _vornix_check_identity()
  _vornix_check_files()
  _vornix_check_info()
  if(ARG_VERSION VERSION_LESS 1945 AND NOT ARG_PARENT AND NOT ARG_BUILT_IN)
    message(WARNING "vornix_add_plugin(${target}): the shared plugin folder ignores versions below 1945, as \
${ARG_VERSION}")
  endif()
endfunction()

function(vornix_check_plugin target)
  _vornix_parse_plugin_arguments()
  _vornix_check_plugin_arguments()
endfunction()

# The text as it stands in XML.
function(_vornix_escape variable text)
  string(REPLACE "&" "&amp;" text "${text}")
  string(REPLACE "<" "&lt;" text "${text}")
  string(REPLACE ">" "&gt;" text "${text}")
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# Appends a key and its value to a variable that holds the inside of a dictionary.
function(_vornix_append_info variable key type value)
  if(type STREQUAL "STRING")
    _vornix_escape(text "${value}")
    set(element "<string>${text}</string>")
  elseif(type STREQUAL "BOOLEAN")
    set(element "<${value}/>")
  elseif(type STREQUAL "INTEGER")
    set(element "<integer>${value}</integer>")
  elseif(type STREQUAL "ARRAY")
    set(element "<array>\n")
    foreach(entry IN LISTS value)
      _vornix_escape(text "${entry}")
      string(APPEND element "\t\t<string>${text}</string>\n")
    endforeach()
    string(APPEND element "\t</array>")
  else()
    set(element "${value}")
  endif()
  _vornix_escape(key "${key}")
  set(${variable} "${${variable}}\t<key>${key}</key>\n\t${element}\n" PARENT_SCOPE)
endfunction()

# The information dictionary as a property list.
function(_vornix_make_plugin_info variable target)
  set(info "")
  _vornix_append_info(info CFBundleDevelopmentRegion STRING "${ARG_DEVELOPMENT_REGION}")
  _vornix_append_info(info CFBundleExecutable STRING "${target}.so")
  _vornix_append_info(info CFBundleIdentifier STRING "${ARG_IDENTIFIER}")
  _vornix_append_info(info CFBundleName STRING "${target}")
  _vornix_append_info(info CFBundlePackageType STRING BNDL)
  _vornix_append_info(info CFBundleShortVersionString STRING "${ARG_SHORT_VERSION}")
  _vornix_append_info(info CFBundleVersion STRING "${ARG_VERSION}")
  _vornix_append_info(info NSPrincipalClass STRING "${ARG_PRINCIPAL_CLASS}")
  _vornix_append_info(info VXPluginClass STRING "${ARG_KIND}")
  if(DEFINED ARG_NAME)
    _vornix_append_info(info VXPluginName STRING "${ARG_NAME}")
  endif()
  if(ARG_ICON)
    cmake_path(GET ARG_ICON FILENAME icon)
    _vornix_append_info(info CFBundleIconFile STRING "${icon}")
  endif()
  if(ARG_DEPENDENCIES)
    _vornix_append_info(info VXPluginDependencies ARRAY "${ARG_DEPENDENCIES}")
  endif()
  if(ARG_POSTS_EVENTS)
    set(events "")
    foreach(event IN LISTS ARG_POSTS_EVENTS)
      _vornix_append_info(events "${event}" XML "<dict/>")
    endforeach()
    _vornix_append_info(info VXPostsEvents XML "<dict>\n${events}\t</dict>")
  endif()
  set(part key)
  foreach(word IN LISTS ARG_INFO)
    set(${part} "${word}")
    if(part STREQUAL "key")
      set(part type)
    elseif(part STREQUAL "type")
      set(part value)
    else()
      set(part key)
      _vornix_append_info(info "${key}" "${type}" "${value}")
    endif()
  endforeach()
  string(CONCAT list
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n<dict>\n" "${info}" "</dict>\n</plist>\n")
  set(${variable} "${list}" PARENT_SCOPE)
endfunction()

# Appends to `outputs` a file that the build copies, whenever it is missing or older than its source: a bundle that
# was moved into a plugin folder is made anew by the next build.
macro(_vornix_copy_into_bundle from to)
  add_custom_command(OUTPUT "${to}" COMMAND ${CMAKE_COMMAND} -E copy "${from}" "${to}" DEPENDS "${from}" VERBATIM)
  list(APPEND outputs "${to}")
endmacro()

# Everything of the bundle but its code: the target <target>Resources.
function(_vornix_add_plugin_resources target bundle)
  set(outputs "")
  set(resources "${bundle}/Contents/Resources")

  _vornix_make_plugin_info(info ${target})
  set(info_file "${CMAKE_CURRENT_BINARY_DIR}/${target}-Info.plist")
  file(GENERATE OUTPUT "${info_file}" CONTENT "${info}")
  _vornix_copy_into_bundle("${info_file}" "${bundle}/Contents/Info.plist")

  if(ARG_RESOURCES)
    file(GLOB_RECURSE files CONFIGURE_DEPENDS RELATIVE "${ARG_RESOURCES}" "${ARG_RESOURCES}/*")
    foreach(file IN LISTS files)
      _vornix_copy_into_bundle("${ARG_RESOURCES}/${file}" "${resources}/${file}")
    endforeach()
  endif()
  if(ARG_DEFAULTS)
    _vornix_copy_into_bundle("${ARG_DEFAULTS}" "${resources}/defaults.plist")
  endif()
  if(ARG_ICON)
    cmake_path(GET ARG_ICON FILENAME icon)
    if(NOT "${resources}/${icon}" IN_LIST outputs)
      _vornix_copy_into_bundle("${ARG_ICON}" "${resources}/${icon}")
    endif()
  endif()

  # What was a resource once, and is none any more.
  file(GLOB_RECURSE old "${resources}/*")
  list(REMOVE_ITEM old ${outputs})
  foreach(file IN LISTS old)
    file(REMOVE "${file}")
    cmake_path(GET file PARENT_PATH folder)
    file(GLOB others "${folder}/*")
    if(NOT others)
      file(REMOVE_RECURSE "${folder}")
    endif()
  endforeach()
  add_custom_target(${target}Resources DEPENDS ${outputs})
  add_dependencies(${target} ${target}Resources)
endfunction()

function(_vornix_add_plugin_code target bundle)
  add_library(${target} MODULE ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE Vornix::Framework ${ARG_LINK})
  # The generator expression keeps a generator of many configurations from adding a folder of its own.
  set_target_properties(${target} PROPERTIES
    PREFIX "" SUFFIX ".so" OUTPUT_NAME ${target} DEBUG_POSTFIX ""
    LIBRARY_OUTPUT_DIRECTORY "${bundle}/Contents/Linux$<0:>"
    AUTOMOC ON CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    # The host brings the framework's libraries; others may lie beside the code. No folder of this machine is kept.
    BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN"
    VORNIX_PLUGIN_BUNDLE "${bundle}")
  # Forgetting VX_PRINCIPAL_CLASS, or to link something, is told here and not by the host.
  target_link_options(${target} PRIVATE LINKER:--require-defined=VXBundlePrincipalClass)
  get_directory_property(options COMPILE_OPTIONS)
  if(NOT "${options} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize") # its run-time library is the program's
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()

function(vornix_add_plugin target)
  _vornix_parse_plugin_arguments()
  _vornix_check_plugin_arguments()
  _vornix_default(ARG_OUTPUT "${VORNIX_PLUGIN_OUTPUT}")
  if(ARG_PARENT)
    get_property(parent_bundle TARGET ${ARG_PARENT} PROPERTY VORNIX_PLUGIN_BUNDLE)
    set(ARG_OUTPUT "${parent_bundle}/Contents/PlugIns")
  endif()
  cmake_path(ABSOLUTE_PATH ARG_OUTPUT BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" NORMALIZE)
  set(bundle "${ARG_OUTPUT}/${target}.vxplugin")

  _vornix_add_plugin_code(${target} "${bundle}")
  _vornix_add_plugin_resources(${target} "${bundle}")
  if(ARG_PARENT)
    add_dependencies(${ARG_PARENT} ${target})
  elseif(ARG_DESTINATION)
    install(DIRECTORY "${bundle}" DESTINATION "${ARG_DESTINATION}" USE_SOURCE_PERMISSIONS)
  endif()
endfunction()

cmake_policy(POP)
