// The engine, without files: chains of operations over made-up sources give the
// bits of the same operations on pictures in memory, whatever the tiles, the memory
// and the number of threads.
#include "engine/pipeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <random>

namespace tool {
namespace {

Image noise(const Shape &shape, unsigned seed) {
    Image image(shape);
    std::mt19937 random(seed);
    // Coarse and fine, so that no operation makes it flat.
    for (int y = 0; y < shape.height; ++y) {
        unsigned char *row = image.row(y);
        for (int i = 0; i < image.header()->widthStep; ++i)
            row[i] = static_cast<unsigned char>((i / 7 + y / 5) * 16 + random() % 64);
    }
    return image;
}

std::size_t usedBytes(const Shape &shape) {
    const std::size_t bits = shape.depth & ~ZYL_DEPTH_SIGN;
    return (bits * static_cast<std::size_t>(shape.channels * shape.width) + 7) / 8;
}

// The first row in which two pictures differ; -1 if there is none.
int firstDifference(const Image &a, const Image &b) {
    const Shape shape = a.shape();
    const std::size_t bytes = usedBytes(shape) - (shape.depth == ZYL_DEPTH_1U);
    for (int y = 0; y < shape.height; ++y)
        if (std::memcmp(a.row(y), b.row(y), bytes) != 0) return y;
    return -1;
}

// A picture in memory as a file would give it.
class PictureSource : public Source {
  public:
    PictureSource(std::shared_ptr<const Image> picture, Order order, Tiling piece)
        : picture_(std::move(picture)) {
        details_.shape = picture_->shape();
        order_ = order;
        piece_ = piece;
    }
    std::function<void(const Rect &)> onRead;

  private:
    void readRect(const Rect &rect, Pixels to) override {
        if (onRead) onRead(rect);
        if (order_ == Order::rows) {
            EXPECT_EQ(rect.y, next_);
            EXPECT_EQ(rect.x, 0);
            EXPECT_EQ(rect.width, shape().width);
            next_ = rect.y + rect.height;
        }
        Shape part = shape();
        part.width = rect.width;
        const std::size_t bits =
            (part.depth & ~ZYL_DEPTH_SIGN) * static_cast<unsigned>(part.channels);
        for (int y = 0; y < rect.height; ++y) {
            std::memcpy(to.data + y * to.stride,
                        picture_->row(rect.y + y) + static_cast<std::size_t>(rect.x) * bits / 8,
                        usedBytes(part));
        }
    }

    std::shared_ptr<const Image> picture_;
    int next_ = 0;
};

// Takes a picture as a file would, and looks at the order.
class PictureSink : public Sink {
  public:
    PictureSink(const Shape &shape, Order order, Tiling piece) : picture(shape) {
        order_ = order;
        piece_ = piece;
    }
    Image picture;
    bool complete_ = false;
    std::function<void(const Rect &)> onWrite;

  private:
    void writeRect(const Rect &rect, ConstPixels from) override {
        const std::lock_guard lock(mutex_);
        if (onWrite) onWrite(rect);
        if (order_ == Order::rows) {
            EXPECT_EQ(rect.y, next_);
            EXPECT_EQ(rect.width, picture.shape().width);
            next_ = rect.y + rect.height;
        } else {
            EXPECT_EQ(rect.x % piece_.width, 0);
            EXPECT_EQ(rect.y % piece_.height, 0);
        }
        Shape part = picture.shape();
        part.width = rect.width;
        const std::size_t bits =
            (part.depth & ~ZYL_DEPTH_SIGN) * static_cast<unsigned>(part.channels);
        for (int y = 0; y < rect.height; ++y) {
            std::memcpy(picture.row(rect.y + y) + static_cast<std::size_t>(rect.x) * bits / 8,
                        from.data + y * from.stride, usedBytes(part));
        }
    }
    void complete() override { complete_ = true; }

    std::mutex mutex_;
    int next_ = 0;
};

// An operation twice: as a plan, and on whole pictures in memory.
struct Operation {
    std::function<Plan(const Shape &)> plan;
    std::function<Image(Image &)> inMemory;
};

Operation tileOperation(const char *name, Need need, std::function<Shape(Shape)> shaped,
                        std::function<void(ZylImage *, ZylImage *, const Request *)> run) {
    return {[=](const Shape &shape) {
                Plan plan{.name = name, .result = shaped(shape), .need = need};
                plan.make = [=](Request &r) { run(r.sources[0], r.result, &r); };
                return plan;
            },
            [=](Image &image) {
                Image result(shaped(image.shape()));
                run(image.header(), result.header(), nullptr);
                return result;
            }};
}

Shape same(Shape shape) {
    return shape;
}

const std::int32_t *tileOf(const Request *r) {
    return r ? r->tile : nullptr;
}
const ZylTileMapping *pointOf(const Request *r) {
    return r ? &r->point : nullptr;
}

Operation addConstant() {
    return tileOperation("add", Need::around, same,
                         [](auto *from, auto *to, auto *r) { zylAddS(from, to, 40, tileOf(r)); });
}

Operation blur() {
    return tileOperation("blur", Need::around, same, [](auto *from, auto *to, auto *r) {
        zylSetBorderMode(from, ZYL_BORDER_REPLICATE, ZYL_SIDE_ALL, 0);
        zylBlur(from, to, 7, 9, 4, 3, pointOf(r));
    });
}

Operation crop() {
    auto smaller = [](Shape shape) {
        shape.width -= 40;
        shape.height -= 30;
        return shape;
    };
    return tileOperation("crop", Need::around, smaller, [](auto *from, auto *to, auto *r) {
        ZylROI part = {0, 24, 17, to->height, to->width};
        from->roi = &part;
        zylCopy(from, to, tileOf(r));
        from->roi = nullptr;
    });
}

Operation decimate() {
    auto smaller = [](Shape shape) {
        shape.width = shape.width * 2 / 3;
        shape.height = shape.height * 2 / 3;
        return shape;
    };
    return tileOperation("decimate", Need::around, smaller, [](auto *from, auto *to, auto *r) {
        zylDecimate(from, to, 2, 3, 2, 3, ZYL_INTER_LINEAR, pointOf(r));
    });
}

Operation rotate() {
    return tileOperation("rotate", Need::anywhere, same, [](auto *from, auto *to, auto *r) {
        zylRotate(from, to, 3000, from->width / 2, from->height / 2, ZYL_INTER_LINEAR, tileOf(r));
    });
}

// zylMirror() makes no single tile: the window is made instead.
Operation mirror() {
    return {[](const Shape &shape) {
                Plan plan{.name = "mirror", .result = shape, .need = Need::anywhere};
                plan.make = [](Request &r) {
                    ZylImage *from = r.sources[0];
                    const Rect &p = r.place;
                    ZylROI part = {0, from->width - p.x - p.width, from->height - p.y - p.height,
                                   p.height, p.width};
                    from->roi = &part;
                    zylMirror(from, r.window, -1);
                };
                return plan;
            },
            [](Image &image) {
                Image result(image.shape());
                zylMirror(image.header(), result.header(), -1);
                return result;
            }};
}

// Subtracts the largest sample of the picture from white: two passes.
Operation darkenByLargest() {
    struct State {
        int largest = 0;
    };
    return {[](const Shape &shape) {
                auto state = std::make_shared<State>();
                Plan plan{.name = "darken", .result = shape};
                plan.measure = [state](const std::vector<ZylImage *> &sources) {
                    state->largest =
                        static_cast<int>(zylNorm(sources[0], nullptr, ZYL_NORM_L1)) % 251;
                };
                plan.make = [state](Request &r) {
                    zylSubtractS(r.sources[0], r.result, state->largest, 1, r.tile);
                };
                return plan;
            },
            [](Image &image) {
                const int largest =
                    static_cast<int>(zylNorm(image.header(), nullptr, ZYL_NORM_L1)) % 251;
                Image result(image.shape());
                zylSubtractS(image.header(), result.header(), largest, 1, nullptr);
                return result;
            }};
}

// Adds every row to the one below, modulo 256.
void sumRows(const unsigned char *from, std::vector<unsigned char> &sums, unsigned char *to,
             std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i)
        to[i] = sums[i] = static_cast<unsigned char>(sums[i] + from[i]);
}

Operation sumDown() {
    return {[](const Shape &shape) {
                auto sums = std::make_shared<std::vector<unsigned char>>();
                Plan plan{.name = "sum", .result = shape, .need = Need::rowsInOrder};
                plan.make = [sums, shape](Request &r) {
                    const std::size_t bytes = usedBytes(shape);
                    if (r.place.y == 0) sums->assign(bytes, 0);
                    EXPECT_EQ(r.place.width, shape.width);
                    zylCopy(r.sources[0], r.result, r.tile);
                    for (int y = 0; y < r.place.height; ++y) {
                        unsigned char *row = r.window->imageData + y * r.window->widthStep;
                        sumRows(row, *sums, row, bytes);
                    }
                };
                return plan;
            },
            [](Image &image) {
                Image result(image.shape());
                std::vector<unsigned char> sums(usedBytes(image.shape()), 0);
                for (int y = 0; y < image.shape().height; ++y)
                    sumRows(image.row(y), sums, result.row(y), sums.size());
                return result;
            }};
}

// The cosine transform and back, which change the picture a little.
Operation transform() {
    auto run = [](ZylImage *from, ZylImage *to) {
        Shape shape = makeShape(from->width, from->height, from->nChannels, ZYL_DEPTH_16S);
        Image spectrum(shape);
        zylDCT2D(from, spectrum.header(), ZYL_DCT_FORWARD | ZYL_DCT_WITH_ALPHA);
        zylDCT2D(spectrum.header(), to, ZYL_DCT_INVERSE | ZYL_DCT_WITH_ALPHA);
    };
    return {[=](const Shape &shape) {
                Plan plan{.name = "transform", .result = shape, .need = Need::whole};
                plan.make = [=](Request &r) { run(r.sources[0], r.result); };
                return plan;
            },
            [=](Image &image) {
                Image result(image.shape());
                run(image.header(), result.header());
                return result;
            }};
}

using MakeOperation = Operation (*)();
const std::vector<MakeOperation> OPERATIONS = {
    addConstant, blur, crop, decimate, rotate, mirror, darkenByLargest, sumDown, transform};

struct Ends {
    Order source, sink;
    Tiling piece; // of the source
    Tiling sinkPiece;
};

std::vector<Ends> everyEnds(const Shape &shape) {
    return {{Order::rows, Order::rows, {shape.width, 1}, {shape.width, 1}},
            {Order::any, Order::any, {64, 48}, {32, 16}},
            {Order::rows, Order::any, {shape.width, 16}, {64, 64}},
            {Order::any, Order::rows, {shape.width, 5}, {shape.width, 8}}};
}

TEST(Engine, GivesTheBitsOfTheChainInMemory) {
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        const Shape shape = makeShape(150 + static_cast<int>(random() % 300),
                                      150 + static_cast<int>(random() % 300),
                                      1 + static_cast<int>(random() % 4), ZYL_DEPTH_8U);
        auto picture = std::make_shared<Image>(noise(shape, random()));
        Image expected = zyl::copy(*picture);

        Pipeline::Options options;
        options.memory = round % 3 == 0 ? 1 << 20 : 64 << 20;
        options.jobs = 1 + round % 4;
        const int side = 24 + 8 * static_cast<int>(random() % 12);
        if (round % 2) options.tile = {side, side};
        // Transforms need more than the small budget.
        const std::size_t kinds = OPERATIONS.size() - (round % 3 == 0);

        const std::vector<Ends> all = everyEnds(shape);
        const Ends &ends = all[random() % all.size()];
        Pipeline pipeline(options);
        Pipeline::Node node = pipeline.add("source", [&] {
            return std::make_unique<PictureSource>(picture, ends.source, ends.piece);
        });
        std::string chain;
        for (int i = 0; i < 4; ++i) {
            const Operation operation = OPERATIONS[random() % kinds]();
            Plan plan = operation.plan(pipeline.shape(node));
            chain += plan.name + " ";
            node = pipeline.add(std::move(plan), {node});
            expected = operation.inMemory(expected);
        }
        Tiling piece = ends.sinkPiece;
        if (ends.sink == Order::rows) piece.width = pipeline.shape(node).width;
        PictureSink sink(pipeline.shape(node), ends.sink, piece);
        pipeline.run(node, &sink);
        EXPECT_TRUE(sink.complete_);
        EXPECT_EQ(firstDifference(sink.picture, expected), -1)
            << "round " << round << ": " << chain << describe(shape) << ", jobs " << options.jobs
            << ", tiles " << options.tile.width;
    }
}

Pipeline::Node sumOf(Pipeline &pipeline, Pipeline::Node a, Pipeline::Node b, const Shape &shape) {
    Plan sum{.name = "add", .result = shape};
    sum.make = [](Request &r) { zylAdd(r.sources[0], r.sources[1], r.result, r.tile); };
    return pipeline.add(std::move(sum), {a, b});
}

// A picture beside its blurred self, and a picture in memory: nodes that are read
// by two others.
TEST(Engine, JoinsBranches) {
    const Shape shape = makeShape(333, 222, 3, ZYL_DEPTH_16U);
    auto picture = std::make_shared<Image>(noise(shape, 3));
    Image blurred = blur().inMemory(*picture), expected(shape);
    zylSubtract(picture->header(), blurred.header(), expected.header(), 0, nullptr);
    zylAdd(expected.header(), picture->header(), expected.header(), nullptr);

    for (Order order : {Order::rows, Order::any}) {
        Pipeline pipeline({.memory = 1 << 20, .jobs = 3});
        const Pipeline::Node source = pipeline.add("source", [&] {
            return std::make_unique<PictureSource>(picture, order, Tiling{shape.width, 8});
        });
        const Pipeline::Node memory = pipeline.add(zyl::copy(*picture));
        const Pipeline::Node soft = pipeline.add(blur().plan(shape), {source});
        Plan difference{.name = "subtract", .result = shape};
        difference.make = [](Request &r) {
            zylSubtract(r.sources[0], r.sources[1], r.result, 0, r.tile);
        };
        const Pipeline::Node edges = pipeline.add(std::move(difference), {source, soft});
        const Pipeline::Node sharp = sumOf(pipeline, edges, memory, shape);
        EXPECT_EQ(firstDifference(pipeline.image(sharp), expected), -1);
    }
}

// What a picture of a million pixels costs in a chain that reads in order: far less
// than the picture.
TEST(Engine, ReadsRowsOnceAndKeepsFew) {
    const Shape shape = makeShape(1000, 4000, 3, ZYL_DEPTH_8U);
    auto picture = std::make_shared<Image>(noise(shape, 3));
    std::atomic<int> opened = 0, ahead = 0, written = 0;
    Pipeline pipeline({.jobs = 2});
    Pipeline::Node node = pipeline.add("source", [&] {
        ++opened;
        auto source = std::make_unique<PictureSource>(picture, Order::rows, Tiling{1000, 8});
        source->onRead = [&](const Rect &rect) {
            ahead = std::max(ahead.load(), rect.y + rect.height - written);
        };
        return source;
    });
    node = pipeline.add(blur().plan(shape), {node});
    PictureSink sink(shape, Order::rows, {1000, 8});
    sink.onWrite = [&](const Rect &rect) { written = rect.y + rect.height; };
    pipeline.run(node, &sink);
    EXPECT_EQ(opened, 1);
    EXPECT_LT(ahead, 2000);
}

// Measured first, read from below, or by two at once: what comes in order is kept, and
// counts for progress.
TEST(Engine, OpensWhatComesInOrderOnce) {
    using Node = Pipeline::Node;
    using Chain = Node (*)(Pipeline &, Node source, const Shape &);
    const Chain chains[] = {
        [](Pipeline &pipeline, Node source, const Shape &shape) {
            return pipeline.add(darkenByLargest().plan(shape), {source});
        },
        [](Pipeline &pipeline, Node source, const Shape &shape) {
            const Node added = pipeline.add(addConstant().plan(shape), {source});
            return pipeline.add(mirror().plan(shape), {added});
        },
        [](Pipeline &pipeline, Node source, const Shape &shape) {
            const Node added = pipeline.add(addConstant().plan(shape), {source});
            const Node dark = pipeline.add(darkenByLargest().plan(shape), {source});
            return sumOf(pipeline, added, dark, shape);
        },
    };
    const Shape shape = makeShape(1000, 1100, 3, ZYL_DEPTH_8U);
    auto picture = std::make_shared<Image>(noise(shape, 5));
    for (std::size_t i = 0; i < std::size(chains); ++i) {
        for (const std::int64_t memory : {4 << 20, 64 << 20}) { // in a file, and in memory
            int opened = 0;
            std::int64_t done = 0, all = 0;
            Pipeline pipeline(
                {.memory = memory, .jobs = 1, .progress = [&](std::int64_t now, std::int64_t then) {
                     done = now, all = then;
                 }});
            const Node source = pipeline.add("source", [&] {
                ++opened;
                return std::make_unique<PictureSource>(picture, Order::rows, Tiling{1000, 8});
            });
            PictureSink sink(shape, Order::any, {64, 64});
            pipeline.run(chains[i](pipeline, source, shape), &sink);
            EXPECT_EQ(opened, 1) << "chain " << i;
            EXPECT_EQ(done, all) << "chain " << i;
            EXPECT_EQ(all, std::int64_t{2} * shape.width * shape.height);
        }
    }
}

TEST(Engine, EndsAtTheFirstFailure) {
    const Shape shape = makeShape(600, 500, 1, ZYL_DEPTH_8U);
    auto picture = std::make_shared<Image>(noise(shape, 3));
    enum Where { reading, making, library, writing, stopped };
    for (Where where : {reading, making, library, writing, stopped}) {
        for (int jobs : {1, 3}) {
            std::atomic<bool> stop = false;
            Pipeline pipeline({.jobs = jobs, .tile = {64, 64}, .stop = &stop});
            Pipeline::Node node = pipeline.add("source", [&] {
                auto source = std::make_unique<PictureSource>(picture, Order::any, Tiling{64, 64});
                source->onRead = [&](const Rect &rect) {
                    if (rect.x < 256 || rect.y < 256) return;
                    if (where == reading) throw Failure("tile 4, 4 is damaged");
                    if (where == stopped) stop = true;
                };
                return source;
            });
            node = pipeline.add(blur().plan(shape), {node});
            Plan plan{.name = "breaks", .result = shape};
            plan.make = [&](Request &r) {
                const bool middle = r.place.x >= 256 && r.place.y >= 256;
                if (where == making && middle) throw Failure("a worker failed");
                zylLShiftS(r.sources[0], r.result, 1, r.tile);
                if (where == library && middle)
                    zylBlur(r.sources[0], r.result, -1, 1, 0, 0, nullptr);
            };
            node = pipeline.add(std::move(plan), {node});
            node = pipeline.add(addConstant().plan(shape), {node});
            PictureSink sink(shape, Order::any, {64, 64});
            sink.onWrite = [&](const Rect &rect) {
                if (where == writing && rect.y >= 256) throw Failure("the disk is full");
            };
            const char *texts[] = {"tile 4, 4 is damaged", "a worker failed",
                                   "breaks: Bad argument, (nRows<0||nCols<0)", "the disk is full",
                                   "interrupted"};
            try {
                pipeline.run(node, &sink);
                ADD_FAILURE() << texts[where];
            } catch (const Failure &failure) {
                EXPECT_STREQ(failure.what(), texts[where]);
            }
            EXPECT_FALSE(sink.complete_);
        }
    }
}

TEST(Engine, RefusesToHoldMoreThanTheBudget) {
    const Shape shape = makeShape(1000, 1100, 3, ZYL_DEPTH_8U);
    Pipeline pipeline({.memory = 4 << 20});
    const Pipeline::Node node = pipeline.add(Image(shape));
    const Pipeline::Node transformed = pipeline.add(transform().plan(shape), {node});
    try {
        pipeline.image(transformed);
        ADD_FAILURE();
    } catch (const Failure &failure) {
        EXPECT_STREQ(failure.what(), "transform: needs the pictures in memory, 7 MiB, and may use "
                                     "4 MiB (--memory)");
    }
}

} // namespace
} // namespace tool
