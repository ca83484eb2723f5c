# SPDX-License-Identifier: Apache-2.0
# Writes the schema texts of a folder into one source file, each a UTF-8 constant found by its system id.
# Included by the build it declares the step; run as a script (-P) it performs it.

set(OPCRAFT_SCHEMAS xml dc dcmitype dcterms opc-coreProperties opc-contentTypes opc-relationships opc-dsig xmldsig)

if(CMAKE_SCRIPT_MODE_FILE)
  set(text "// Made from the schemas in src/xml/schemas.\n#include \"xml/EmbeddedSchemas.hpp\"\n\nnamespace opc::model {\n")
  foreach(schema IN LISTS OPCRAFT_SCHEMAS)
    file(READ "${FOLDER}/${schema}.xsd" content)
    string(MAKE_C_IDENTIFIER "${schema}" identifier)
    string(APPEND text "\nnamespace {\nconst char text_${identifier}[] = R\"__xsd__(${content})__xsd__\";\n}\n"
      "const EmbeddedSchema embedded::${identifier} = {\"${schema}.xsd\", text_${identifier}, sizeof(text_${identifier}) - 1};\n")
  endforeach()
  string(APPEND text "\n} // namespace opc::model\n")
  file(WRITE "${OUTPUT}" "${text}")
  return()
endif()

set(OPCRAFT_EMBED_SCRIPT "${CMAKE_CURRENT_LIST_FILE}")
function(opcraft_embed_schemas folder output)
  list(TRANSFORM OPCRAFT_SCHEMAS PREPEND "${folder}/" OUTPUT_VARIABLE inputs)
  list(TRANSFORM inputs APPEND ".xsd")
  add_custom_command(OUTPUT "${output}"
    COMMAND "${CMAKE_COMMAND}" -D "FOLDER=${folder}" -D "OUTPUT=${output}" -P "${OPCRAFT_EMBED_SCRIPT}"
    DEPENDS ${inputs} "${OPCRAFT_EMBED_SCRIPT}" COMMENT "Embedding the schemas" VERBATIM)
endfunction()
