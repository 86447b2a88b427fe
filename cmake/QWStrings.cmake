# qw_add_strings(<target> <folder>)
# Compiles the string tables of a folder (its .ts files) into a target, as the resource :/qwlibrary/strings/<name>.qm.
function(qw_add_strings target folder)
    find_program(QW_LRELEASE NAMES lrelease-qt6 lrelease HINTS "${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS}" REQUIRED)
    file(GLOB tables CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.ts")
    set(files "")
    foreach(table ${tables})
        get_filename_component(name "${table}" NAME_WE)
        set(compiled "${CMAKE_CURRENT_BINARY_DIR}/${folder}/${name}.qm")
        add_custom_command(OUTPUT "${compiled}"
                           COMMAND "${QW_LRELEASE}" -silent "${table}" -qm "${compiled}"
                           DEPENDS "${table}" VERBATIM)
        list(APPEND files "${compiled}")
    endforeach()
    file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/${folder}")
    list(TRANSFORM files REPLACE ".*/(.+)" "<file alias=\"\\1\">\\0</file>" OUTPUT_VARIABLE entries)
    list(JOIN entries "\n" entries)
    file(CONFIGURE OUTPUT qwlibrary_strings.qrc @ONLY CONTENT
"<RCC><qresource prefix=\"/qwlibrary/strings\">
@entries@
</qresource></RCC>
")
    set(source "${CMAKE_CURRENT_BINARY_DIR}/qrc_qwlibrary_strings.cpp")
    add_custom_command(OUTPUT "${source}"
                       COMMAND Qt6::rcc --name qwlibrary_strings -o "${source}"
                               "${CMAKE_CURRENT_BINARY_DIR}/qwlibrary_strings.qrc"
                       DEPENDS ${files} "${CMAKE_CURRENT_BINARY_DIR}/qwlibrary_strings.qrc" VERBATIM)
    set_source_files_properties("${source}" PROPERTIES SKIP_AUTOGEN ON SKIP_PRECOMPILE_HEADERS ON)
    target_sources(${target} PRIVATE "${source}")
endfunction()
