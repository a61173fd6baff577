#pragma once

#include <string>

namespace platform {

// Every place outside of wrappers where the system keeps files. Any thread; setRoot() before other threads
// run.
class Places {
public:
    static std::string home();
    static std::string library(); // <home>/Library/Trelkind
    static std::string scratch(); // /var/tmp/Trelkind-<login name>
    static std::string varTmp(); // /var/tmp
    static std::string applicationSupport(); // $XDG_DATA_HOME, else <home>/.local/share
    // What comes with the program: share/trelkind beside the folder that its file lies in. Not moved by a
    // root.
    static std::string resources();
    // Where named services of this user have their sockets: $XDG_RUNTIME_DIR/trelkind, else
    // <var tmp>/TrelkindServices-<login name>.
    static std::string services();

    // Puts all of the above into one folder, so that a test owns the whole system. The environment variable
    // TRELKIND_PLACES does the same for a whole process. An empty root gives the real places back. The
    // folders home() and varTmp(), which every account has, are made there.
    static void setRoot(const std::string& root);
};

} // namespace platform
