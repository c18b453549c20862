# Compiles the translations of the calling folder into another one, and names the files.
function(release_translations result folder)
  file(GLOB translations CONFIGURE_DEPENDS translations/*.ts)
  foreach(translation ${translations})
    get_filename_component(name ${translation} NAME_WLE)
    set(words ${folder}/${name}.qm)
    add_custom_command(OUTPUT ${words} DEPENDS ${translation}
      COMMAND Qt6::lrelease -silent ${translation} -qm ${words})
    list(APPEND all ${words})
  endforeach()
  set(${result} ${all} PARENT_SCOPE)
endfunction()
