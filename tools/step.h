// One operation of the command line: what it is called, what it takes, and what
// it sees when it plans its work.
#pragma once

#include "engine/pipeline.h"
#include "parameter.h"
#include "piece.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

class Step;

// What an operation is, beside its name and parameters; combine with |.
enum Traits : unsigned {
    plain = 0,
    // Leaves the picture's shape as it is and may work on a part of it: takes the
    // parameters x, y, width, height and channel.
    regional = 1,
    // Looks at one pixel at a time: leaves alpha as it is unless `alpha` is given.
    pointwise = 2 | regional,
    // Tells something about the picture.
    prints = 4,
    // Tells itself which channels it takes.
    anyLayout = 8
};

// An entry of the table of operations.
struct Operation {
    std::string_view name;
    std::string_view help; // one line, lower case, no full stop; empty: the library's
    std::vector<Parameter> parameters;
    void (*plan)(Step &);
    unsigned traits = plain;
    // What follows INPUT in an example.
    std::string_view example = {};
    // The operation of the library whose depths and channels count, where that has
    // another name. "-": the operation sees to them itself.
    std::string_view function = {};

    // The parameters above and those of its traits.
    std::vector<Parameter> allParameters() const;
};

// A value that the command line gives to a parameter.
struct Value {
    std::string text;
    std::int64_t integer = 0; // also the number of a choice; 1 for a flag that is on
    double number = 0;
    bool given = false; // false: the parameter's fallback
};

// An operation with its values.
struct Call {
    const Operation *operation;
    std::vector<std::pair<std::string_view, Value>> values;
    std::string words; // as the command line has them
};

// Adds the picture file of this name to the pipeline.
using OpenPicture = std::function<Pipeline::Node(const std::string &path)>;

// What an operation sees when it plans its work: the picture that it is given, and
// its values. What it does becomes nodes of a pipeline.
class Step {
  public:
    using Node = Pipeline::Node;

    Step(const Call &call, Pipeline &pipeline, Node picture, const OpenPicture &open);

    // The picture as it is after what was planned so far.
    Node node() const { return node_; }
    const Shape &shape() const { return pipeline_.shape(node_); }

    // Goes on with another node.
    void goTo(Node node) { node_ = node; }

    // Plans the next node, made of the picture and the others.
    void then(Plan plan, const std::vector<Node> &others = {});
    // The same where a function makes the tiles of a result of this shape.
    void then(const Shape &result, std::function<void(Request &)> make);

    // Part and channel that a regional operation works on; channel 0 is all.
    const Rect &region() const { return region_; }
    int channel() const { return channel_; }
    // For regional operations: the rest of the picture stays as it is. `work` makes
    // the part of the result that its region names. All headers have regions then.
    using Work = std::function<void(const std::vector<ZylImage *> &sources, ZylImage *result)>;
    void thenOnRegion(Work work, const std::vector<Node> &others = {}, Plan plan = {});
    // The same for work that leaves samples of its region as they are: the result
    // begins as a copy of the picture.
    void thenOnCopy(Work work, const std::vector<Node> &others = {});

    // Whether alpha has to stay as it is.
    bool keepsAlpha() const;

    // Refuses the picture unless an operation of the library takes its depth and its
    // channels. Done already for the operation's own function.
    void check(std::string_view function) const;
    // Refuses a result of this depth unless the library makes it.
    void checkResult(std::uint32_t depth) const;

    // The picture file that a parameter names, made alike where nothing is lost:
    // gray spread over colour channels, a missing alpha channel made opaque, one
    // too many left out. Its size and depth must be those of the current picture.
    Node other(std::string_view name);
    // The same with an alpha channel, also where the current picture has none.
    Node otherWithAlpha(std::string_view name);
    // The same, of any size.
    Node otherOfAnySize(std::string_view name);
    const Shape &shape(Node node) const { return pipeline_.shape(node); }

    // The values of parameters. Their kinds and ranges are checked already.
    std::int64_t integer(std::string_view name) const { return value(name).integer; }
    double number(std::string_view name) const { return value(name).number; }
    int choice(std::string_view name) const { return static_cast<int>(value(name).integer); }
    bool flag(std::string_view name) const { return value(name).integer != 0; }
    const std::string &text(std::string_view name) const { return value(name).text; }
    bool given(std::string_view name) const { return value(name).given; }

    // Ends the run with one line on standard error that begins with the
    // operation's name.
    [[noreturn]] void refuse(const std::string &why) const;
    // The same where the values are wrong for every picture.
    [[noreturn]] void misuse(const std::string &why) const;

  private:
    const Value &value(std::string_view name) const;
    void readRegion();
    std::string nameOfCall() const;
    void onRegion(bool copied, Work work, const std::vector<Node> &others, Plan plan);
    Node alike(std::string_view name, Shape wanted);
    Node ofThisSize(std::string_view name, const Shape &wanted);

    const Call &call_;
    Pipeline &pipeline_;
    const OpenPicture &open_;
    Node node_;
    Rect region_;
    int channel_ = 0;
};

// For functions that make one tile, given its column and row.
template <class Function>
std::function<void(Request &)> byIndex(Function function) {
    return [function](Request &r) { function(r.sources[0], r.result, r.tile); };
}

// The same for those that are given a pixel of the tile.
template <class Function>
std::function<void(Request &)> byPoint(Function function) {
    return [function](Request &r) { function(r.sources[0], r.result, &r.point); };
}

} // namespace tool
