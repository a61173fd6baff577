#pragma once

#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindApplication.h"
#include "toolkit/Noted.h"

#include <map>

// A machine that runs tasks elsewhere, or here.
struct Machine : SVTaskMachine, SVRemoteOutputSource {
    explicit Machine(std::optional<std::string> called = "X", bool here = true)
        : name(std::move(called)), local(here)
    { }
    std::optional<std::string> machineName() const override { return name; }
    bool isLocal() const override { return local; }
    void abortJob(SVSingleTask&) override { ++aborts; }
    SVRemoteOutputSource* remoteOutputSource() override { return local ? nullptr : this; }
    void startListeningToOutput(SVSingleTask&) override { listening = true; }
    void stopListeningToOutput(SVSingleTask&) override { listening = false; }
    std::optional<std::string> getOutputLineNumber(int line, SVSingleTask&) override
    {
        ++fetched;
        return line == 1 ? std::nullopt : std::optional("line " + std::to_string(line));
    }
    std::optional<std::string> name;
    bool local;
    int aborts = 0;
    bool listening = false;
    int fetched = 0;
};

// In the place of the scanner: the test says what the files hold.
class Scanned {
public:
    Scanned()
    {
        SVFileContent::scanner() = [this](const std::string& path, SVFileContent::Changed changed) {
            ++count;
            auto content = std::make_shared<Content>(*this, std::move(changed));
            contents_[path] = content;
            return content;
        };
    }
    ~Scanned() { SVFileContent::scanner() = nullptr; }

    // The reading of a file ends with these variables.
    void show(const std::string& path, std::vector<std::string> names)
    {
        for (const auto& [known, content] : contents_)
            if (const auto held = known.ends_with(path) ? content.lock() : nullptr) {
                held->names = std::move(names);
                held->changed();
                return;
            }
        ADD_FAILURE() << path << " isn't read";
    }
    // The names of the files that are still being read.
    std::string inReading() const
    {
        std::string names;
        for (const auto& [path, content] : contents_)
            if (const auto held = content.lock(); held && held->isBeingRead())
                names += platform::paths::lastComponent(path);
        return names;
    }
    int count = 0; // Readings of whole files.
    int updates = 0;
    std::stop_token stop; // Of the last reading for a plot.

private:
    struct Content : SVFileContent {
        Content(Scanned& scanned, Changed whenChanged) : owner(scanned), changed(std::move(whenChanged)) { }
        bool isBeingRead() const override { return !names; }
        bool hasBeenRead() const override { return names.has_value(); }
        std::size_t count() const override { return names ? names->size() : 0; }
        std::string cell(std::string_view column, std::size_t row) const override
        {
            return column == "Name" ? names->at(row) : std::string(column) + " " + std::to_string(row);
        }
        void update() override { ++owner.updates; }
        // A number: how many bytes the variable's name has.
        void readForPlot(const std::string& variable, const PlottedValue::Choice&,
            const std::stop_token& stop, PlotRead read) const override
        {
            owner.stop = stop;
            PlottedValue value;
            value.number = static_cast<double>(variable.size());
            platform::MainLoop::main().post([read, value] { read(value); });
        }

        Scanned& owner;
        Changed changed;
        std::optional<std::vector<std::string>> names;
    };
    std::map<std::string, std::weak_ptr<Content>> contents_;
};

// A wrapper of three tasks, open in a window.
struct Controller : testing::Test {
    Controller()
    {
        wrapper.tasks({"a", "b", "c"}).executable("#!/bin/sh\n");
        open();
    }
    void open()
    {
        tasks.reset();
        app.reset();
        app = std::make_unique<KRTrelkindApplication>();
        controller = app->openTaskWithName(wrapper.path());
        views = controller->views();
        task = controller->taskInformation().at(0);
        tasks.emplace(views->taskList);
        tasks->takeReload();
    }
    bool changes() // Updates the task's state and returns whether that reloads the task list.
    {
        task->updateBasedOnContent();
        return tasks->takeReload();
    }
    std::vector<std::string> listing() { return platform::files::contentsOfDirectory(wrapper / "0").value(); }
    // Selects a file of the selected task; the size that its row shows.
    std::string selectFile(const char* name)
    {
        const auto& names = controller->taskInformation()[1]->fileList();
        const auto row = static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
        views->fileTable.selectRows({row});
        return toolkit::cellText(views->fileTable.value("Size", row));
    }
    void writeNotes(const char* text)
    {
        views->writeUp.edit(toolkit::RichText(text));
        views->writeUp.endEditing();
    }

    WrapperOnDisk wrapper;
    std::unique_ptr<KRTrelkindApplication> app;
    std::shared_ptr<KRTrelkindController> controller;
    TrelkindWindow* views = nullptr;
    std::shared_ptr<SVSingleTask> task; // The first one.
    std::optional<toolkit::Noted> tasks; // What the task list has told.
};
