#pragma once

#include <string>
#include <vector>

class KRTrelkindApplication;

// Keeps the list of the wrappers that are open in "Open Wrappers.plist" of the user's library, as it changes:
// the next start opens them again, however this program ends. Main thread.
class OpenWrappers {
public:
    // The application must outlive this. What was kept before stays until a wrapper is opened or closed.
    explicit OpenWrappers(KRTrelkindApplication& application);
    ~OpenWrappers();
    OpenWrappers(const OpenWrappers&) = delete;
    OpenWrappers& operator=(const OpenWrappers&) = delete;

    // Those of the last session that are still there, in the order in which they were opened.
    static std::vector<std::string> ofLastSession();

private:
    void save() const;

    KRTrelkindApplication& application_;
};
