# find_package(ZVWorker): the imported target ZVWorker::zvworker.
include("${CMAKE_CURRENT_LIST_DIR}/ZVWorkerTargets.cmake")
