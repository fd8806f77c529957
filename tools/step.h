// One operation of the command line: what it is called, what it takes, and what
// it sees while it runs.
#pragma once

#include "image.h"

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

enum class Kind { integer, number, choice, text, picture, flag };

// A named value, as in `name=value`.
struct Parameter {
    Kind kind;
    std::string_view name;
    std::optional<std::string_view> fallback; // nothing: must be given
    std::string_view help;
    double least = 0; // range of integers and numbers
    double most = 0;
    std::vector<std::pair<std::string_view, int>> choices;
};

inline constexpr std::nullopt_t required = std::nullopt;
using Fallback = std::optional<std::string_view>;

// The kinds of parameters, for the tables of operations. Integers are decimal or,
// after 0x, hexadecimal.
Parameter integer(std::string_view name, Fallback fallback, std::string_view help,
                  double least = std::numeric_limits<std::int32_t>::min(),
                  double most = std::numeric_limits<std::int32_t>::max());
Parameter number(std::string_view name, Fallback fallback, std::string_view help,
                 double least = std::numeric_limits<double>::lowest(),
                 double most = std::numeric_limits<double>::max());
Parameter choice(std::string_view name, Fallback fallback, std::string_view help,
                 std::vector<std::pair<std::string_view, int>> choices);
Parameter text(std::string_view name, Fallback fallback, std::string_view help);
// The name of a picture file.
Parameter picture(std::string_view name, Fallback fallback, std::string_view help);
// On when it is named, off else.
Parameter flag(std::string_view name, std::string_view help);

class Step;

// What an operation is, beside its name and parameters; combine with |.
enum Traits : unsigned {
    plain = 0,
    // Leaves the picture's shape as it is and may work on a part of it: takes the
    // parameters x, y, width, height and channel.
    regional = 1,
    // Tells something about the picture and changes nothing.
    prints = 2
};

// An entry of the table of operations.
struct Operation {
    std::string_view name;
    std::string_view help; // one line, lower case, no full stop
    std::vector<Parameter> parameters;
    void (*run)(Step &);
    unsigned traits = plain;

    // The parameters above and, if it is regional, those of the region.
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

// What an operation sees while it runs. It asks for the current picture with
// source() and for a place for the new one with result(); what it leaves in the
// result is the current picture of the next step. Without a result the picture
// stays as it is.
class Step {
  public:
    Step(const Call &call, Image current, Tiling tiling);

    // The current picture, with the region set if the operation is regional.
    ZylImage *source() const { return source_.header(); }
    Shape shape() const { return source_.shape(); }

    // The picture file that a parameter names, made alike where nothing is lost:
    // gray spread over colour channels, a missing alpha channel made opaque, one
    // too many left out. Its size and depth must be those of the current picture.
    ZylImage *second(std::string_view name);
    // The same, of any size and with no region.
    ZylImage *secondOfAnySize(std::string_view name);

    // The same, of this size and with an alpha channel, opaque if the file has
    // none, also where the current picture has none.
    ZylImage *secondWithAlpha(std::string_view name);

    // A new picture: a copy of the source for a regional operation, which may
    // leave parts as they are; else black, like the source or of another shape.
    ZylImage *result();
    ZylImage *result(const Shape &shape);

    // The values of parameters. Their kinds and ranges are checked already.
    std::int64_t integer(std::string_view name) const { return value(name).integer; }
    double number(std::string_view name) const { return value(name).number; }
    int choice(std::string_view name) const { return static_cast<int>(value(name).integer); }
    bool flag(std::string_view name) const { return value(name).integer != 0; }
    const std::string &text(std::string_view name) const { return value(name).text; }
    bool given(std::string_view name) const { return value(name).given; }

    // Writes a line to standard output.
    void print(const std::string &line) const;
    // Ends the run with one line on standard error that begins with the
    // operation's name.
    [[noreturn]] void refuse(const std::string &why) const;

    // The picture after the step, in memory and without a region.
    Image take();

  private:
    const Value &value(std::string_view name) const;
    ZylImage *keep(Image image);
    ZylImage *matched(std::string_view name, const Shape &wanted);
    ZylImage *ofThisSize(std::string_view name, ZylImage *image);
    void setRegion(Image &image) const;

    const Call &call_;
    Tiling tiling_;
    Image source_;
    std::optional<Image> result_;
    std::vector<Image> seconds_;
};

} // namespace tool
