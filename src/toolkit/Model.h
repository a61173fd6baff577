#pragma once

#include <functional>
#include <memory>

namespace toolkit {

// View models: what a front end shows and what the logic sets and asks. They hold no pixels and no events; a
// front end reads them, and a test is a front end too. All of the toolkit belongs to the main thread.

// What has changed in a model since the last notice to its observers.
struct Change {
    bool value = false; // A text, a number, a state, a title, a place.
    bool rows = false; // The number of rows.
    bool data = false; // What the rows say, or how a view looks.
    bool selection = false;
    bool structure = false; // Parts, columns or items came, went or changed places.
    bool order = false; // A window was brought to the front, shown or closed.

    Change& operator|=(const Change& other);
    bool operator==(const Change&) const = default;
};

// Something that is observed. Changes are gathered into one notice for each turn of the main loop, with
// everything that has changed since; the end of the model is notified at once.
class Model {
public:
    Model() = default;
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;
    virtual ~Model();

    // One observer's hold on a model, which may outlive the model. Destroying it ends the notices, also from
    // inside one.
    class Observation {
    public:
        Observation() = default;

    private:
        friend class Model;
        struct Entry;
        explicit Observation(std::shared_ptr<Entry> entry) : entry_(std::move(entry)) { }
        std::shared_ptr<Entry> entry_;
    };
    using ChangeHandler = std::function<void(const Change&)>;
    [[nodiscard]] Observation observe(ChangeHandler changed, std::function<void()> ended = {});

protected:
    void changed(const Change&);
    // Sets a field and tells of it when the value is another one; whether it is.
    template <typename T>
    bool set(T& field, T value, const Change& what = {.value = true})
    {
        if (field == value)
            return false;
        field = std::move(value);
        changed(what);
        return true;
    }

private:
    struct State;
    std::shared_ptr<State> state_; // Made with the first observer: most models have none.
};

} // namespace toolkit
