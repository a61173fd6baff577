#pragma once

#include <functional>
#include <string>
#include <vector>

namespace toolkit {

// What the user may take back, newest last. What is registered while something is taken back can be done
// again; any other registration forgets what could be done again.
class UndoManager {
public:
    void registerUndo(std::string actionName, std::function<void()> takeBack);
    bool canUndo() const { return !undoable_.empty(); }
    bool canRedo() const { return !redoable_.empty(); }
    std::string undoActionName() const { return canUndo() ? undoable_.back().name : ""; }
    std::string redoActionName() const { return canRedo() ? redoable_.back().name : ""; }
    void undo();
    void redo();
    void removeAllActions();

private:
    struct Step {
        std::string name;
        std::function<void()> takeBack;
    };
    enum class State { Recording, Undoing, Redoing };
    void perform(std::vector<Step>& steps, State state);

    std::vector<Step> undoable_;
    std::vector<Step> redoable_;
    State state_ = State::Recording;
};

} // namespace toolkit
