// Entry point of the tests through JUCE's hosting. JUCE needs its message manager on the
// thread that creates and configures plug-ins, as a DAW's message thread would be; nothing
// here opens a display.
#include <gtest/gtest.h>
#include <juce_events/juce_events.h>

#include <cstdlib>

namespace {

// The plug-in keeps a configuration, a workspace and a learn table in the user's folders.
// A test must neither read what the developer has there nor leave anything behind, so all of
// the variables it may consult point into one scratch folder for the run.
class ScratchUserFolders {
public:
    ScratchUserFolders()
        : root_(juce::File::getSpecialLocation(juce::File::tempDirectory)
                    .getNonexistentChildFile("torvo-juce-host", "", false)) {
        root_.createDirectory();
        for (const char* name : {"HOME", "APPDATA", "LOCALAPPDATA", "XDG_CONFIG_HOME",
                                 "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            setenv(name, root_.getFullPathName().toRawUTF8(), 1);
    }
    ~ScratchUserFolders() { root_.deleteRecursively(); }
    ScratchUserFolders(const ScratchUserFolders&) = delete;
    ScratchUserFolders& operator=(const ScratchUserFolders&) = delete;

private:
    juce::File root_;
};

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    ScratchUserFolders folders;
    // Destroyed after the tests: deletes JUCE's cached module handles, which unloads the
    // plug-in through its exit function as a host does on quit.
    juce::ScopedJuceInitialiser_GUI messageThread;
    return RUN_ALL_TESTS();
}
