#pragma once

// The program put together: while one exists, everything that the lower floors leave to higher ones is filled
// in, so that messages have a log, temporary files a directory, and an opened wrapper knows projects,
// machines and data files. Every front end keeps one around all of its work, and no second one. Main thread.
class Program {
public:
    Program();
    ~Program(); // Tells that the process is about to end.
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
};
