# One page: its source with what it stands for filled in, through scdoc.
cmake_minimum_required(VERSION 3.25)
file(READ ${PAGE} text)
if(text MATCHES "@PROTOCOL@")
    execute_process(COMMAND ${AWK} -f ${CMAKE_CURRENT_LIST_DIR}/markdown_to_scdoc.awk ${PROTOCOL}
                    OUTPUT_VARIABLE protocol COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "@PROTOCOL@" "${protocol}" text "${text}")
endif()
string(REPLACE "@PROJECT_VERSION@" "${PROJECT_VERSION}" text "${text}")
file(WRITE ${INTO}.scd "${text}")
execute_process(COMMAND ${SCDOC} INPUT_FILE ${INTO}.scd OUTPUT_FILE ${INTO}.part COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${INTO}.part ${INTO})
