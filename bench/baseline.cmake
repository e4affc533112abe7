# The yardstick of run_process_bench.sh: a plain program (no benchmark library) that touches
# every byte of its input files once. Included from bench/CMakeLists.txt or the top level.
add_executable(automaton_baseline ${CMAKE_CURRENT_LIST_DIR}/automaton_baseline.cpp)
set_target_properties(automaton_baseline PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
