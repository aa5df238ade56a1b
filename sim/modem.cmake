# SPDX-License-Identifier: Apache-2.0
# The simulated modem daemon, which needs nothing else of the simulated device.
find_package(Threads REQUIRED)
add_library(orx_sim_modem STATIC ${CMAKE_CURRENT_LIST_DIR}/modem.cpp)
target_link_libraries(orx_sim_modem PUBLIC android::base Threads::Threads)
