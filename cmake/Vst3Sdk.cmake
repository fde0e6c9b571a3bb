# Builds the subset of the VST3 SDK that Debian ships with its JUCE module sources.
# Everything is compiled position-independent with hidden visibility so that the
# plug-in exports nothing of it and never clashes with a host's own copy.
set(TORVO_VST3_SDK "/usr/share/juce/modules/juce_audio_processors/format_types/VST3_SDK"
    CACHE PATH "Folder holding pluginterfaces/, base/ and public.sdk/ of the VST3 SDK")
if(NOT EXISTS "${TORVO_VST3_SDK}/pluginterfaces/base/funknown.h")
    message(FATAL_ERROR "VST3 SDK not found at ${TORVO_VST3_SDK}; run scripts/setup.sh")
endif()

set(_sdk "${TORVO_VST3_SDK}")
add_library(vst3sdk STATIC
    ${_sdk}/pluginterfaces/base/coreiids.cpp
    ${_sdk}/pluginterfaces/base/funknown.cpp
    ${_sdk}/pluginterfaces/base/ustring.cpp
    ${_sdk}/pluginterfaces/base/conststringtable.cpp
    ${_sdk}/base/source/baseiids.cpp
    ${_sdk}/base/source/fbuffer.cpp
    ${_sdk}/base/source/fdebug.cpp
    ${_sdk}/base/source/fobject.cpp
    ${_sdk}/base/source/fstreamer.cpp
    ${_sdk}/base/source/fstring.cpp
    ${_sdk}/base/source/updatehandler.cpp
    ${_sdk}/base/thread/source/flock.cpp
    ${_sdk}/public.sdk/source/common/memorystream.cpp
    ${_sdk}/public.sdk/source/common/pluginview.cpp
    ${_sdk}/public.sdk/source/vst/vstbus.cpp
    ${_sdk}/public.sdk/source/vst/vstcomponent.cpp
    ${_sdk}/public.sdk/source/vst/vstcomponentbase.cpp
    ${_sdk}/public.sdk/source/vst/vsteditcontroller.cpp
    ${_sdk}/public.sdk/source/vst/vstinitiids.cpp
    ${_sdk}/public.sdk/source/vst/vstparameters.cpp
    ${_sdk}/public.sdk/source/vst/hosting/hostclasses.cpp
    ${_sdk}/public.sdk/source/vst/hosting/pluginterfacesupport.cpp)
target_include_directories(vst3sdk SYSTEM PUBLIC "${_sdk}")
target_compile_definitions(vst3sdk PUBLIC $<IF:$<CONFIG:Debug>,DEVELOPMENT=1,RELEASE=1>)
set_target_properties(vst3sdk PROPERTIES POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
# Third-party code: its warnings are not ours to fix.
target_compile_options(vst3sdk PRIVATE -w)
target_link_libraries(vst3sdk PUBLIC Threads::Threads ${CMAKE_DL_LIBS})
