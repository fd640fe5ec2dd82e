# Installs the build into a prefix of its own and lets a separate project use it through find_package.
include(${CMAKE_CURRENT_LIST_DIR}/step.cmake)
file(REMOVE_RECURSE ${WORK})
step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
step(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/consumer -G ${GENERATOR}
  -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER} "-DCMAKE_CXX_FLAGS=${CMAKE_CXX_FLAGS}" -DCMAKE_PREFIX_PATH=${WORK}/prefix)
step(${CMAKE_COMMAND} --build ${WORK}/consumer)
step(${WORK}/consumer/consumer)
step(${WORK}/prefix/bin/tarku --help)
file(REMOVE_RECURSE ${WORK})
