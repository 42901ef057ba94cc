# What ConfigurationTarget.cpp and RecordingTarget.cpp need of spfctl: what reads its files.
find_package(nlohmann_json 3.11 REQUIRED)
set(tool "${PROJECT_SOURCE_DIR}/tools/spfctl/src")
set(SPF_FILE_FOLDERS "${tool}")
file(GLOB SPF_FILE_SOURCES CONFIGURE_DEPENDS "${tool}/file/*.cpp")
list(APPEND SPF_FILE_SOURCES
  "${tool}/display/terminalText.cpp" "${tool}/display/utcTime.cpp"
  "${tool}/events/readRecording.cpp" "${tool}/events/recordedEvent.cpp")
set(SPF_FILE_LIBRARIES
  spf::frameworksetup spf::frameworklistener spf::frameworksupport spf_encoding nlohmann_json::nlohmann_json)

# What ControlTarget.cpp needs besides: what answers requests.
set(SPF_CONTROL_SOURCES
  "${tool}/commands/Asking.cpp" "${tool}/control/ChangeRequests.cpp" "${tool}/control/HostControl.cpp"
  "${tool}/control/handleLine.cpp" "${tool}/control/statusJson.cpp" "${tool}/events/EventLog.cpp"
  "${tool}/events/EventRecorder.cpp")
set(SPF_CONTROL_LIBRARIES spf::frameworkinterfaces spf::host_services)
