#pragma once

#include "diagnostics/KRMessageCenter.h"
#include "platform/AnotherProcess.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "platform/plist/PropertyList.h"
#include "toolkit/Table.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

// A wrapper in a temporary folder. All other places of the system are in that folder, too, and the messages
// go to a message center of this object.
class WrapperOnDisk {
public:
    explicit WrapperOnDisk(const std::string& name = "Batch.vtask") : path_(folder_ / name)
    {
        platform::MainLoop::main(); // Belongs to this thread, not to the first worker that posts.
        platform::Places::setRoot(folder_ / "places");
        KRMessageCenter::setSharedCenter(center_);
        EXPECT_TRUE(platform::files::createDirectories(path_ + "/MacOSX"));
    }
    ~WrapperOnDisk()
    {
        platform::MainLoop::main().runPending();
        platform::Places::setRoot("");
    }

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const TemporaryFolder& folder() const { return folder_; }

    // One run folder with an input file, and one element of "Entry Description", for each argument.
    WrapperOnDisk& tasks(const std::vector<std::string>& arguments)
    {
        platform::Value::Array entries;
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            write(std::to_string(i) + "/input", "x");
            entries.emplace_back(platform::Value::Dictionary{
                {"Argument", arguments[i]}, {"Time Value", 0.5 * static_cast<double>(i)}});
        }
        information_["Entry Description"] = std::move(entries);
        information_["InputFiles"] = platform::Value::Array{"input"};
        return saveInformation();
    }
    WrapperOnDisk& information(const std::string& key, platform::Value value)
    {
        information_[key] = std::move(value);
        return saveInformation();
    }
    WrapperOnDisk& executable(const std::string& text, const std::string& name = "program")
    {
        write("MacOSX/" + name, text);
        EXPECT_TRUE(platform::files::setPermissions(path_ + "/MacOSX/" + name, 0755));
        plist("Executable.plist", platform::Value::Dictionary{{"Executable", name}});
        return *this;
    }
    void plist(const std::string& name, const platform::Value& value) const
    {
        EXPECT_TRUE(platform::propertylist::writeAtomically(value, path_ + "/" + name));
    }
    // Makes the file and its folders; sets the modification time back by so many seconds.
    const WrapperOnDisk& write(
        const std::string& name, const std::string& bytes = "", int secondsAgo = 0) const
    {
        EXPECT_TRUE(
            platform::files::createDirectories(platform::paths::deletingLastComponent(path_ + "/" + name)));
        EXPECT_TRUE(platform::files::writeFile(path_ + "/" + name, bytes));
        if (secondsAgo > 0)
            std::filesystem::last_write_time(path_ + "/" + name,
                std::filesystem::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
        return *this;
    }
    void remove(const std::string& name) const { EXPECT_TRUE(platform::files::remove(path_ + "/" + name)); }
    std::string read(const std::string& name) const
    {
        return platform::files::readFile(path_ + "/" + name).value_or("");
    }
    bool has(const std::string& name) const { return platform::files::exists(path_ + "/" + name); }

    std::vector<std::string> messages() const
    {
        platform::MainLoop::main().runPending();
        std::vector<std::string> texts;
        for (const auto& entry : center_->messages())
            texts.push_back(entry->shortDescription());
        return texts;
    }
    std::string lastLongMessage() const
    {
        platform::MainLoop::main().runPending();
        return center_->messages().empty() ? "" : center_->messages().back()->longDescription().value_or("");
    }

private:
    WrapperOnDisk& saveInformation()
    {
        plist("Info.plist", information_);
        return *this;
    }

    TemporaryFolder folder_;
    std::string path_;
    platform::Value::Dictionary information_;
    std::shared_ptr<KRMessageCenter> center_ = KRMessageCenter::create();
};

// The cells of a table's columns: "1|Done|2||" for two rows of two columns.
inline std::string cells(const toolkit::Table& table, const std::vector<std::string>& columns)
{
    std::string text;
    for (int row = 0; row < table.numberOfRows(); ++row)
        for (const std::string& column : columns)
            text += toolkit::cellText(table.value(column, row)) + "|";
    return text;
}

inline bool served(const std::function<bool()>& condition, double limitInSeconds = 30)
{
    return platform::MainLoop::main().runUntil(condition, limitInSeconds);
}
