#include "pictures.h"

#include "engine/spool.h"
#include "formats/rows.h"

#include <algorithm>

namespace tool {

Pipeline::Node addPicture(Pipeline &pipeline, const std::string &name, ReadOptions options) {
    options.spool = stored;
    return pipeline.add(name, [name, options] { return openSource(name, options); });
}

Image readPicture(const std::string &name, const ReadOptions &options) {
    Metadata metadata;
    return readPicture(name, options, metadata);
}

Image readPicture(const std::string &name, const ReadOptions &options, Metadata &metadata) {
    const std::unique_ptr<Source> source = openSource(name, options);
    metadata = source->details().metadata;
    const Shape &shape = source->shape();
    Image image = Image::unfilled(shape);
    source->read({0, 0, shape.width, shape.height}, {image.row(0), image.header()->widthStep});
    return image;
}

void writePicture(const std::string &name, const Image &image, const Metadata &metadata,
                  const WriteOptions &options) {
    const Shape shape = image.shape();
    const std::unique_ptr<Sink> sink = createSink(name, shape, metadata, options);
    const bool rows = sink->order() == Order::rows;
    const int width = rows ? shape.width : sink->piece().width;
    const int height = rows ? shape.height : sink->piece().height;
    for (int y = 0; y < shape.height; y += height) {
        for (int x = 0; x < shape.width; x += width) {
            const Rect rect = {x, y, std::min(width, shape.width - x),
                               std::min(height, shape.height - y)};
            const std::size_t left = rowBytes(shape, x);
            sink->write(rect, {image.row(y) + left, image.header()->widthStep});
        }
    }
    sink->finish();
}

} // namespace tool
