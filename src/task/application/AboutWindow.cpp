#include "task/application/AboutWindow.h"

#include "toolkit/Words.h"

AboutWindow::AboutWindow(const std::string& version, const std::vector<Library>& libraries)
{
    using toolkit::words;
    std::string text = words("Trelkind {}", version) + "\n\n"
        + words("The programs are under the licence {}, the computational library svdata under {}.",
            "GPL-3.0-or-later", "Apache-2.0")
        + "\n\n" + words("They use:") + "\n";
    for (const Library& library : libraries)
        text += library.name + " " + library.version + ", " + library.licence + "\n";
    text_.setString(std::move(text));
    text_.setEditable(false);
    text_.setAccessibleName(words("Versions and licences"));
    window_.setTitle(words("About Trelkind"));
    window_.setContent(&text_);
}
