/* What Python needs of zylqx beyond its arguments: image records over the
 * memory of arrays, tiles that Python functions deliver, and calls without the
 * interpreter's lock whose reports become exceptions.
 *
 * Only Python's stable interface is used, so one build serves Python 3.11 and
 * later, and arrays are seen through the buffer protocol, whatever numpy there
 * is. What arrays mean to an operation is decided in Python (arguments.py).
 */
#define PY_SSIZE_T_CLEAN
#define Py_LIMITED_API 0x030B0000
#include <Python.h>
#include <limits.h>
#include <string.h>

#include <zylqx.h>

/* ---- records ----------------------------------------------------------------- */

/* Tiles of one image that a call keeps at hand, so that rows which come back to
 * a tile do not ask Python for it again. */
#define TILES_KEPT 32

typedef struct {
    int32_t column, row;
    PyObject *record; /* owned */
} KeptTile;

typedef struct {
    PyObject_HEAD ZylImage header;
    ZylROI roi;
    ZylTileInfo tiles;
    Py_buffer view; /* view.obj is null without one */
    int padded;     /* rows are further apart than their samples reach */
    PyObject *deliver;
    KeptTile kept[TILES_KEPT];
    int keptCount, oldest;
} Record;

static PyTypeObject *recordType;
static PyObject *errorType;

static void record_dealloc(PyObject *self) {
    Record *record = (Record *)self;
    PyTypeObject *type = Py_TYPE(self);
    for (int i = 0; i < record->keptCount; ++i) Py_XDECREF(record->kept[i].record);
    Py_XDECREF(record->deliver);
    if (record->view.obj != NULL) PyBuffer_Release(&record->view);
    ((freefunc)PyType_GetSlot(type, Py_tp_free))(self);
    Py_DECREF(type);
}

static Record *new_record(void) {
    allocfunc allocate = (allocfunc)PyType_GetSlot(recordType, Py_tp_alloc);
    return (Record *)allocate(recordType, 0);
}

static Py_ssize_t raised(Py_ssize_t bytes, int align) {
    return (bytes + align - 1) / align * align;
}

/* Whether the library can take the buffer as it lies: samples of a row side by
 * side, rows in order. `rowBytes` is what one row's samples occupy. */
static int fits(const Py_buffer *view, uint32_t depth, Py_ssize_t channels, Py_ssize_t *rowBytes,
                Py_ssize_t *stride) {
    if (view->ndim != 2 && view->ndim != 3) return 0;
    if (view->len == 0) return 0;
    const Py_ssize_t height = view->shape[0], width = view->shape[1];
    const Py_ssize_t bytes = view->itemsize;
    *rowBytes = width * channels * bytes;
    *stride = height > 1 ? view->strides[0] : *rowBytes;
    if (view->ndim == 3 && channels > 1 && view->strides[2] != bytes) return 0;
    if (width > 1 && view->strides[1] != channels * bytes) return 0;
    if (*stride < *rowBytes || *stride % bytes != 0) return 0;
    if (depth == ZYL_DEPTH_1U) return 1;
    return (uintptr_t)view->buf % (uintptr_t)bytes == 0;
}

/* How the pixels of an array lie. */
typedef struct {
    Py_ssize_t channels, rowBytes, stride;
} Layout;

/* Whether the library can take the buffer as it lies; with `natural` its rows have to be
 * as far apart as zylCreateImageHeader() would put them. */
static int layout_of(const Py_buffer *view, uint32_t depth, int natural, Layout *layout) {
    layout->channels = view->ndim == 3 ? view->shape[2] : 1;
    if (!fits(view, depth, layout->channels, &layout->rowBytes, &layout->stride)) return 0;
    if (!natural || view->shape[0] == 1) return 1;
    return layout->stride == raised(layout->rowBytes, 4) ||
           layout->stride == raised(layout->rowBytes, 8);
}

/* Whether sizes fit the header's fields. */
static int countable(const Py_buffer *view, const Layout *layout) {
    return layout->stride <= INT_MAX && layout->stride * view->shape[0] <= INT_MAX &&
           layout->channels <= INT_MAX;
}

/* Describes the pixels of a buffer. Images of equal imageSize may be processed as flat
 * buffers, padding included; what lies between an array's rows is not ours to write, so
 * a source with padding gets another one. */
static void describe(ZylImage *header, const Py_buffer *view, const Layout *layout, int32_t width,
                     uint32_t depth, int source) {
    const int padded = layout->stride != layout->rowBytes;
    const int32_t channels = (int32_t)layout->channels;
    memset(header, 0, sizeof *header);
    header->headerSize = sizeof *header;
    header->nChannels = channels;
    header->depth = depth;
    header->dataOrder = ZYL_DATA_ORDER_PIXEL;
    header->origin = ZYL_ORIGIN_TL;
    header->align = layout->stride == raised(layout->rowBytes, 4) ? ZYL_ALIGN_4 : ZYL_ALIGN_8;
    header->height = (int32_t)view->shape[0];
    header->width = width;
    memcpy(header->colorModel, channels < 3 ? "GRAY" : channels == 3 ? "RGB\0" : "RGBA", 4);
    memcpy(header->channelSeq, channels < 3 ? "G\0\0\0" : channels == 3 ? "RGB\0" : "RGBA", 4);
    header->imageData = view->buf;
    header->widthStep = (int32_t)layout->stride;
    header->imageSize = padded && source ? 1 : (int32_t)(layout->stride * view->shape[0]);
}

/* record(array, depth, width, writable, source, natural): the record of an array
 * of (rows, columns) or (rows, columns, channels), whose bytes are bits when depth
 * is ZYL_DEPTH_1U. None when its layout has to be copied first. */
static PyObject *core_record(PyObject *module, PyObject *const *args, Py_ssize_t count) {
    (void)module;
    if (count != 6) {
        PyErr_SetString(PyExc_TypeError, "record() takes six arguments");
        return NULL;
    }
    const uint32_t depth = (uint32_t)PyLong_AsUnsignedLong(args[1]);
    const long bitWidth = PyLong_AsLong(args[2]);
    const int writable = PyObject_IsTrue(args[3]);
    const int source = PyObject_IsTrue(args[4]), natural = PyObject_IsTrue(args[5]);
    if (PyErr_Occurred()) return NULL;

    Py_buffer view;
    if (PyObject_GetBuffer(args[0], &view, writable ? PyBUF_STRIDED : PyBUF_STRIDED_RO) != 0) {
        return NULL;
    }
    Layout layout;
    if (!layout_of(&view, depth, natural, &layout)) {
        PyBuffer_Release(&view);
        Py_RETURN_NONE;
    }
    if (!countable(&view, &layout)) {
        PyErr_SetString(PyExc_ValueError, "an array of 2 GiB or more is too large for one call: "
                                          "zylqx.open() takes it in tiles");
        PyBuffer_Release(&view);
        return NULL;
    }
    Record *record = new_record();
    if (record == NULL) {
        PyBuffer_Release(&view);
        return NULL;
    }
    record->view = view;
    record->padded = layout.stride != layout.rowBytes;
    const long width = depth == ZYL_DEPTH_1U ? bitWidth : (long)view.shape[1];
    describe(&record->header, &view, &layout, (int32_t)width, depth, source);
    return (PyObject *)record;
}

/* ---- tiles --------------------------------------------------------------------- */

static Record *kept_tile(const Record *record, int32_t column, int32_t row) {
    for (int i = 0; i < record->keptCount; ++i) {
        const KeptTile *tile = &record->kept[i];
        if (tile->column == column && tile->row == row) return (Record *)tile->record;
    }
    return NULL;
}

/* Asks Python for a tile and keeps it instead of the oldest one. Needs no lock of
 * the caller. Null, with the thread's exception set, when there is none. */
static Record *fetch_tile(Record *record, int32_t column, int32_t row) {
    PyObject *tile = NULL;
    const PyGILState_STATE state = PyGILState_Ensure();
    if (!PyErr_Occurred()) {
        tile = PyObject_CallFunction(record->deliver, "ii", (int)column, (int)row);
    }
    if (tile != NULL && Py_TYPE(tile) != recordType) {
        PyErr_SetString(PyExc_TypeError, "a tile is not a record");
        Py_CLEAR(tile);
    }
    if (tile != NULL) {
        KeptTile *place;
        if (record->keptCount < TILES_KEPT) {
            place = &record->kept[record->keptCount++];
        } else {
            place = &record->kept[record->oldest];
            record->oldest = (record->oldest + 1) % TILES_KEPT;
            Py_DECREF(place->record);
        }
        *place = (KeptTile){column, row, tile};
    }
    PyGILState_Release(state);
    return (Record *)tile;
}

static void ZYL_CALL serve_tile(ZylImage *image, int32_t column, int32_t row, int32_t mode) {
    Record *record = image->tileInfo->id;
    image->tileInfo->tileData = NULL;
    if (mode == ZYL_RELEASE_TILE) return;
    Record *tile = kept_tile(record, column, row);
    if (tile == NULL) tile = fetch_tile(record, column, row);
    if (tile != NULL) image->tileInfo->tileData = tile->header.imageData;
}

/* tiled(height, width, channels, depth, tileHeight, tileWidth, deliver): an image
 * whose tiles are the records that deliver(column, row) returns. */
static PyObject *core_tiled(PyObject *module, PyObject *args) {
    (void)module;
    int height, width, channels, tileHeight, tileWidth;
    unsigned int depth;
    PyObject *deliver;
    if (!PyArg_ParseTuple(args, "iiiIiiO", &height, &width, &channels, &depth, &tileHeight,
                          &tileWidth, &deliver)) {
        return NULL;
    }
    Record *record = new_record();
    if (record == NULL) return NULL;
    const Py_ssize_t shape[2] = {height, width};
    const Py_buffer none = {.shape = (Py_ssize_t *)shape};
    const Layout layout = {channels, 0, 0};
    describe(&record->header, &none, &layout, width, depth, 0);
    record->tiles = (ZylTileInfo){serve_tile, record, NULL, tileWidth, tileHeight};
    record->header.tileInfo = &record->tiles;
    record->header.align = ZYL_ALIGN_8; /* that of the copies that tiles may be */
    Py_INCREF(deliver);
    record->deliver = deliver;
    return (PyObject *)record;
}

/* ---- what else a record carries ---------------------------------------------------- */

static PyObject *record_set_region(PyObject *self, PyObject *args) {
    Record *record = (Record *)self;
    int x, y, width, height, channel;
    if (!PyArg_ParseTuple(args, "iiiii", &x, &y, &width, &height, &channel)) return NULL;
    record->roi = (ZylROI){channel, x, y, height, width};
    record->header.roi = &record->roi;
    Py_RETURN_NONE;
}

static int parse_borders(ZylImage *header, PyObject *borders) {
    int *modes = header->borderMode, *values = header->borderConst;
    return PyArg_ParseTuple(borders, "(iiii)(iiii)", modes, modes + 1, modes + 2, modes + 3, values,
                            values + 1, values + 2, values + 3);
}

static PyObject *record_set_borders(PyObject *self, PyObject *args) {
    if (!parse_borders(&((Record *)self)->header, args)) return NULL;
    Py_RETURN_NONE;
}

/* Texts of at most four characters. */
static PyObject *record_set_model(PyObject *self, PyObject *args) {
    ZylImage *header = &((Record *)self)->header;
    const char *model, *sequence;
    int alpha;
    if (!PyArg_ParseTuple(args, "ssi", &model, &sequence, &alpha)) return NULL;
    memset(header->colorModel, 0, 4);
    memset(header->channelSeq, 0, 4);
    memcpy(header->colorModel, model, strnlen(model, 4));
    memcpy(header->channelSeq, sequence, strnlen(sequence, 4));
    header->alphaChannel = alpha;
    Py_RETURN_NONE;
}

/* (first byte, byte behind the last, row stride): where the record's samples lie. */
static PyObject *record_extent(PyObject *self, PyObject *unused) {
    (void)unused;
    const Record *record = (const Record *)self;
    const ZylImage *header = &record->header;
    const Py_ssize_t channels = record->view.ndim == 3 ? record->view.shape[2] : 1;
    const Py_ssize_t rowBytes = record->view.shape[1] * channels * record->view.itemsize;
    const uintptr_t begin = (uintptr_t)header->imageData;
    const uintptr_t end =
        begin + (uintptr_t)((header->height - 1) * (Py_ssize_t)header->widthStep + rowBytes);
    return Py_BuildValue("(KKi)", (unsigned long long)begin, (unsigned long long)end,
                         header->widthStep);
}

static PyObject *record_get_padded(PyObject *self, void *closure) {
    (void)closure;
    return PyBool_FromLong(((Record *)self)->padded);
}

static PyMethodDef recordMethods[] = {
    {"set_region", record_set_region, METH_VARARGS, "set_region(x, y, width, height, channel)"},
    {"set_borders", record_set_borders, METH_VARARGS, "set_borders(modes, constants)"},
    {"set_model", record_set_model, METH_VARARGS, "set_model(model, sequence, alpha)"},
    {"extent", record_extent, METH_NOARGS, "extent()"},
    {NULL, NULL, 0, NULL},
};

static PyGetSetDef recordFields[] = {
    {"padded", record_get_padded, NULL, NULL, NULL},
    {NULL, NULL, NULL, NULL, NULL},
};

static PyType_Slot recordSlots[] = {
    {Py_tp_dealloc, (void *)record_dealloc},
    {Py_tp_methods, recordMethods},
    {Py_tp_getset, recordFields},
    {0, NULL},
};

static PyType_Spec recordSpec = {"zylqx._core.Record", sizeof(Record), 0,
                                 Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION,
                                 recordSlots};

/* ---- reports --------------------------------------------------------------------- */

/* The first report of a call; trace reports add nothing to it. */
typedef struct {
    ZylStatus status;
    char function[64], text[1024];
} Report;

static _Thread_local Report *listening;

static void keep(char *to, size_t size, const char *text) {
    if (text == NULL) text = "";
    const size_t length = strnlen(text, size - 1);
    memcpy(to, text, length);
    to[length] = '\0';
}

static ZylStatus ZYL_CALL take_report(ZylStatus status, const char *function, const char *context,
                                      const char *file, int line) {
    (void)file;
    (void)line;
    if (status == ZYL_StsBackTrace || status == ZYL_StsAutoTrace) return status;
    if (listening != NULL && listening->status == ZYL_StsOk) {
        listening->status = status;
        keep(listening->function, sizeof listening->function, function);
        keep(listening->text, sizeof listening->text, context);
    }
    return status;
}

static PyObject *raise_report(const Report *report) {
    PyObject *error = PyObject_CallFunction(errorType, "iss", (int)report->status, report->function,
                                            report->text);
    if (error != NULL) PyErr_SetObject(errorType, error);
    Py_XDECREF(error);
    return NULL;
}

/* What the thread's context was before a call, and is again after it. A tile may
 * be made by another call on the same thread. */
typedef struct {
    ZylContext context;
    Report *listening;
} Outside;

static Outside listen_to(Report *report) {
    ZylContext *context = zylUndContext();
    const Outside outside = {*context, listening};
    context->status = ZYL_StsOk;
    context->mode = ZYL_ErrModeParent;
    context->callBack = take_report;
    listening = report;
    return outside;
}

static void stop_listening(const Outside *outside) {
    *zylUndContext() = outside->context;
    listening = outside->listening;
}

/* ---- calls ---------------------------------------------------------------------- */

typedef union {
    ZylImage *image;
    int32_t number;
    uint32_t natural;
    float fraction;
    int32_t *pair;
    void *block;
    const ZylConvKernel *kernel;
    ZylConvKernel **kernels;
    const ZylColorTwist *twist;
    ZylLUT **tables;
} Argument;

typedef struct {
    const char *name;
    const char *kinds; /* a letter for each argument, see argument() */
    int inPlace;       /* the destination may be the source */
    double (*call)(const Argument *arguments);
} Operation;

#include "calls.h"

#define MOST_ARGUMENTS 12
#define MOST_VIEWS 512

/* What has to live as long as a call. */
typedef struct {
    Py_buffer views[MOST_VIEWS];
    int viewCount;
    void *blocks[MOST_VIEWS];
    int blockCount;
    int32_t pairs[MOST_ARGUMENTS][2];
    int pairCount;
    int32_t kernelCount;
} Arena;

static void clear_arena(Arena *arena) {
    for (int i = 0; i < arena->viewCount; ++i) PyBuffer_Release(&arena->views[i]);
    for (int i = 0; i < arena->blockCount; ++i) PyMem_Free(arena->blocks[i]);
}

static void *arena_block(Arena *arena, size_t bytes) {
    void *block = arena->blockCount < MOST_VIEWS ? PyMem_Calloc(1, bytes) : NULL;
    if (block == NULL) {
        PyErr_NoMemory();
        return NULL;
    }
    return arena->blocks[arena->blockCount++] = block;
}

static void *arena_view(Arena *arena, PyObject *object, int flags) {
    if (arena->viewCount == MOST_VIEWS) {
        PyErr_SetString(PyExc_ValueError, "too many tables or kernels");
        return NULL;
    }
    Py_buffer *view = &arena->views[arena->viewCount];
    if (PyObject_GetBuffer(object, view, flags) != 0) return NULL;
    ++arena->viewCount;
    return view->buf;
}

/* (rows, columns, anchor x, anchor y, shift, coefficients) */
static ZylConvKernel *kernel_of(Arena *arena, PyObject *item) {
    ZylConvKernel *kernel = arena_block(arena, sizeof *kernel);
    PyObject *values;
    if (kernel == NULL ||
        !PyArg_ParseTuple(item, "iiiiiO", &kernel->nRows, &kernel->nCols, &kernel->anchorX,
                          &kernel->anchorY, &kernel->nShiftR, &values)) {
        return NULL;
    }
    kernel->values = arena_view(arena, values, PyBUF_SIMPLE);
    return kernel->values != NULL ? kernel : NULL;
}

/* (data, scale) */
static ZylColorTwist *twist_of(Arena *arena, PyObject *item) {
    ZylColorTwist *twist = arena_block(arena, sizeof *twist);
    PyObject *data;
    if (twist == NULL || !PyArg_ParseTuple(item, "Oi", &data, &twist->scalingValue)) return NULL;
    const void *values = arena_view(arena, data, PyBUF_SIMPLE);
    if (values == NULL) return NULL;
    memcpy(twist->data, values, sizeof twist->data);
    return twist;
}

/* (keys, values, factors or None, interpolate) */
static ZylLUT *table_of(Arena *arena, PyObject *item) {
    ZylLUT *table = arena_block(arena, sizeof *table);
    PyObject *key, *value, *factor;
    if (table == NULL ||
        !PyArg_ParseTuple(item, "OOOi", &key, &value, &factor, &table->interpolate)) {
        return NULL;
    }
    table->key = arena_view(arena, key, PyBUF_SIMPLE);
    if (table->key == NULL) return NULL;
    table->num = (int32_t)(arena->views[arena->viewCount - 1].len / (Py_ssize_t)sizeof(int32_t));
    table->value = arena_view(arena, value, PyBUF_WRITABLE);
    if (table->value == NULL) return NULL;
    if (factor == Py_None) return table;
    table->factor = arena_view(arena, factor, PyBUF_SIMPLE);
    return table->factor != NULL ? table : NULL;
}

/* An array of what `make` makes of each item of a tuple. */
static void **list_of(Arena *arena, PyObject *items, int tables) {
    const Py_ssize_t count = PyTuple_Size(items);
    if (count < 0) return NULL;
    void **list = arena_block(arena, ((size_t)count + 1) * sizeof *list);
    for (Py_ssize_t i = 0; list != NULL && i < count; ++i) {
        PyObject *item = PyTuple_GetItem(items, i);
        list[i] = tables ? (void *)table_of(arena, item) : (void *)kernel_of(arena, item);
        if (list[i] == NULL) return NULL;
    }
    arena->kernelCount = (int32_t)count;
    return list;
}

static int32_t *pair_of(Arena *arena, PyObject *item) {
    int32_t *pair = arena->pairs[arena->pairCount++];
    return PyArg_ParseTuple(item, "ii", pair, pair + 1) ? pair : NULL;
}

/* Turns a Python object into an argument of this kind; false with an exception. */
static int argument(Arena *arena, char kind, PyObject *item, Argument *to) {
    switch (kind) {
    case 'i': /* image, or None */
        to->image = NULL;
        if (item == Py_None) return 1;
        if (Py_TYPE(item) != recordType) {
            PyErr_SetString(PyExc_TypeError, "an image argument is not a record");
            return 0;
        }
        to->image = &((Record *)item)->header;
        return 1;
    case 'n':
        to->number = (int32_t)PyLong_AsLong(item);
        return PyErr_Occurred() == NULL;
    case 'u':
        to->natural = (uint32_t)PyLong_AsUnsignedLong(item);
        return PyErr_Occurred() == NULL;
    case 'f':
        to->fraction = (float)PyFloat_AsDouble(item);
        return PyErr_Occurred() == NULL;
    case 'p': /* pair of numbers, or None */
        to->pair = NULL;
        return item == Py_None || (to->pair = pair_of(arena, item)) != NULL;
    case 'k':
        return (to->kernel = kernel_of(arena, item)) != NULL;
    case 'K':
        return (to->kernels = (ZylConvKernel **)list_of(arena, item, 0)) != NULL;
    case 'c': /* the number of kernels before it */
        to->number = arena->kernelCount;
        return 1;
    case 'w':
        return (to->twist = twist_of(arena, item)) != NULL;
    case 't':
        return (to->tables = (ZylLUT **)list_of(arena, item, 1)) != NULL;
    case 'b':
        return (to->block = arena_view(arena, item, PyBUF_SIMPLE)) != NULL;
    case 'B':
        return (to->block = arena_view(arena, item, PyBUF_WRITABLE)) != NULL;
    default:
        PyErr_SetString(PyExc_SystemError, "unknown kind of argument");
        return 0;
    }
}

static double run(const Operation *operation, const Argument *arguments, Report *report) {
    double result;
    Py_BEGIN_ALLOW_THREADS const Outside outside = listen_to(report);
    result = operation->call(arguments);
    stop_listening(&outside);
    Py_END_ALLOW_THREADS return result;
}

/* call(index, arguments...): runs OPERATIONS[index]; the number that it returns. */
static PyObject *core_call(PyObject *module, PyObject *const *args, Py_ssize_t count) {
    (void)module;
    const long index = count > 0 ? PyLong_AsLong(args[0]) : -1;
    if (index < 0 || index >= (long)(sizeof OPERATIONS / sizeof *OPERATIONS)) {
        if (!PyErr_Occurred()) PyErr_SetString(PyExc_IndexError, "no such operation");
        return NULL;
    }
    const Operation *operation = &OPERATIONS[index];
    if ((size_t)count - 1 != strlen(operation->kinds)) {
        PyErr_Format(PyExc_TypeError, "%s takes %d arguments", operation->name,
                     (int)strlen(operation->kinds));
        return NULL;
    }
    Argument arguments[MOST_ARGUMENTS];
    Arena arena;
    arena.viewCount = arena.blockCount = arena.pairCount = 0;
    arena.kernelCount = 0;
    for (Py_ssize_t i = 1; i < count; ++i) {
        if (!argument(&arena, operation->kinds[i - 1], args[i], &arguments[i - 1])) {
            clear_arena(&arena);
            return NULL;
        }
    }
    Report report;
    report.status = ZYL_StsOk;
    const double result = run(operation, arguments, &report);
    clear_arena(&arena);
    if (PyErr_Occurred()) return NULL; /* from a tile */
    if (report.status != ZYL_StsOk) return raise_report(&report);
    return PyFloat_FromDouble(result);
}

/* ---- plain calls --------------------------------------------------------------- */

#define MOST_IMAGES 3

/* Arrays of a plain call, the destination last. */
typedef struct {
    Py_buffer views[MOST_IMAGES];
    ZylImage headers[MOST_IMAGES];
    int count;
} Arrays;

static void clear_arrays(Arrays *arrays) {
    for (int i = 0; i < arrays->count; ++i) PyBuffer_Release(&arrays->views[i]);
}

/* Adds an array; false, without an exception, when it is not of the plain kind. */
static int add_array(Arrays *arrays, PyObject *array, uint32_t depth, int32_t bits, int writable,
                     int natural) {
    Py_buffer *view = &arrays->views[arrays->count];
    Layout layout;
    if (PyObject_GetBuffer(array, view, writable ? PyBUF_STRIDED : PyBUF_STRIDED_RO) != 0) {
        PyErr_Clear();
        return 0;
    }
    ZylImage *header = &arrays->headers[arrays->count++];
    if (!layout_of(view, depth, natural, &layout) || !countable(view, &layout)) return 0;
    describe(header, view, &layout, bits != 0 ? bits : (int32_t)view->shape[1], depth, !writable);
    return 1;
}

static int apart(const ZylImage *a, const ZylImage *b) {
    const unsigned char *endA = a->imageData + (Py_ssize_t)a->widthStep * a->height;
    const unsigned char *endB = b->imageData + (Py_ssize_t)b->widthStep * b->height;
    return endA <= b->imageData || endB <= a->imageData;
}

/* Whether two images are the same pixels, rows without gaps between them. */
static int same(const ZylImage *a, const ZylImage *b) {
    return a->imageData == b->imageData && a->widthStep == b->widthStep && a->height == b->height &&
           a->width == b->width && a->imageSize == b->imageSize;
}

/* Finds the header of each image: a source that is the destination shares its one. False
 * when images overlap otherwise. */
static int place_images(Arrays *arrays, int inPlace, ZylImage **images) {
    ZylImage *destination = &arrays->headers[arrays->count - 1];
    for (int i = 0; i < arrays->count; ++i) {
        images[i] = &arrays->headers[i];
        if (images[i] == destination || apart(images[i], destination)) continue;
        if (!inPlace || !same(images[i], destination)) return 0;
        images[i] = destination;
    }
    return 1;
}

/* plain(index, depth, bits, natural, borders, sources, destination, values): the usual call, of
 * arrays that need no copy, have no region and overlap at most in place; whoever calls has compared
 * types and shapes. The destination is None for an operation without one. `bits` is the width of
 * arrays whose bytes are bits, else 0. False, with nothing done, for arrays that are not like
 * this. */
static PyObject *core_plain(PyObject *module, PyObject *const *args, Py_ssize_t count) {
    (void)module;
    if (count != 8) {
        PyErr_SetString(PyExc_TypeError, "plain() takes eight arguments");
        return NULL;
    }
    const long index = PyLong_AsLong(args[0]);
    const uint32_t depth = (uint32_t)PyLong_AsUnsignedLong(args[1]);
    const int32_t bits = (int32_t)PyLong_AsLong(args[2]);
    const int natural = PyObject_IsTrue(args[3]);
    PyObject *borders = args[4], *destination = args[6], *values = args[7];
    const Py_ssize_t sources = PyTuple_Size(args[5]);
    if (PyErr_Occurred()) return NULL;
    if (index < 0 || index >= (long)(sizeof OPERATIONS / sizeof *OPERATIONS) ||
        sources >= MOST_IMAGES) {
        PyErr_SetString(PyExc_IndexError, "no such plain call");
        return NULL;
    }
    const Operation *operation = &OPERATIONS[index];

    Arrays arrays;
    arrays.count = 0;
    int plain = 1;
    for (Py_ssize_t i = 0; plain && i < sources; ++i) {
        plain = add_array(&arrays, PyTuple_GetItem(args[5], i), depth, bits, 0, natural);
    }
    ZylImage *images[MOST_IMAGES];
    if (plain && destination != Py_None) {
        plain = add_array(&arrays, destination, depth, bits, 1, natural);
    }
    plain = plain && place_images(&arrays, operation->inPlace, images);
    if (!plain) {
        clear_arrays(&arrays);
        Py_RETURN_FALSE;
    }

    Argument arguments[MOST_ARGUMENTS];
    Arena arena;
    arena.viewCount = arena.blockCount = arena.pairCount = 0;
    arena.kernelCount = 0;
    int good = borders == Py_None || (parse_borders(&arrays.headers[0], borders) &&
                                      parse_borders(&arrays.headers[arrays.count - 1], borders));
    int image = 0;
    Py_ssize_t value = 0;
    for (int i = 0; good && operation->kinds[i] != '\0'; ++i) {
        const char kind = operation->kinds[i];
        if (kind == 'i') {
            arguments[i].image = images[image++];
        } else if (kind == 'p') {
            arguments[i].pair = NULL;
        } else if (kind == 'c') {
            arguments[i].number = arena.kernelCount;
        } else {
            PyObject *item = PyTuple_GetItem(values, value++);
            good = item != NULL && argument(&arena, kind, item, &arguments[i]);
        }
    }
    Report report;
    report.status = ZYL_StsOk;
    if (good) run(operation, arguments, &report);
    clear_arena(&arena);
    clear_arrays(&arrays);
    if (!good) return NULL;
    if (report.status != ZYL_StsOk) return raise_report(&report);
    Py_RETURN_TRUE;
}

/* translate(dib): (rows, columns, channels, depth, planes, bottom row first, alpha, row
 * stride, samples) of the image that the library makes of a bitmap. */
static PyObject *core_translate(PyObject *module, PyObject *dib) {
    (void)module;
    Py_buffer view;
    if (PyObject_GetBuffer(dib, &view, PyBUF_SIMPLE) != 0) return NULL;
    Report report;
    report.status = ZYL_StsOk;
    const Outside outside = listen_to(&report);
    int32_t shared = 0;
    ZylImage *image = zylTranslateDIB(view.buf, &shared);
    stop_listening(&outside);

    PyObject *result = NULL;
    if (report.status != ZYL_StsOk || image == NULL) {
        raise_report(&report);
    } else {
        const int planes = image->dataOrder == ZYL_DATA_ORDER_PLANE;
        const Py_ssize_t bytes =
            (Py_ssize_t)image->widthStep * image->height * (planes ? image->nChannels : 1);
        result = Py_BuildValue("(iiiiiiiiy#)", (int)image->height, (int)image->width,
                               (int)image->nChannels, (int)image->depth, planes,
                               image->origin == ZYL_ORIGIN_BL, (int)image->alphaChannel,
                               (int)image->widthStep, (const char *)image->imageData, bytes);
    }
    if (image != NULL) zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    PyBuffer_Release(&view);
    return result;
}

static PyObject *core_set_error(PyObject *module, PyObject *type) {
    (void)module;
    Py_INCREF(type);
    Py_XDECREF(errorType);
    errorType = type;
    Py_RETURN_NONE;
}

static PyObject *core_names(PyObject *module, PyObject *unused) {
    (void)module;
    (void)unused;
    const Py_ssize_t count = sizeof OPERATIONS / sizeof *OPERATIONS;
    PyObject *names = PyTuple_New(count);
    for (Py_ssize_t i = 0; names != NULL && i < count; ++i) {
        PyObject *name = PyUnicode_FromString(OPERATIONS[i].name);
        if (name == NULL || PyTuple_SetItem(names, i, name) != 0) Py_CLEAR(names);
    }
    return names;
}

/* context() -> (status, mode); set_context(status, mode): the calling thread's. */
static PyObject *core_context(PyObject *module, PyObject *unused) {
    (void)module;
    (void)unused;
    return Py_BuildValue("(ii)", (int)zylGetErrStatus(), (int)zylGetErrMode());
}

static PyObject *core_set_context(PyObject *module, PyObject *args) {
    (void)module;
    int status, mode;
    if (!PyArg_ParseTuple(args, "ii", &status, &mode)) return NULL;
    zylSetErrStatus(status);
    zylSetErrMode(mode);
    Py_RETURN_NONE;
}

static PyObject *core_version(PyObject *module, PyObject *unused) {
    (void)module;
    (void)unused;
    return PyUnicode_FromString(zylGetLibVersion()->versionText);
}

static PyMethodDef methods[] = {
    {"record", (PyCFunction)(void (*)(void))core_record, METH_FASTCALL,
     "record(array, depth, width, writable, source, natural)"},
    {"tiled", core_tiled, METH_VARARGS,
     "tiled(height, width, channels, depth, tile_height, tile_width, deliver)"},
    {"call", (PyCFunction)(void (*)(void))core_call, METH_FASTCALL, "call(index, arguments...)"},
    {"plain", (PyCFunction)(void (*)(void))core_plain, METH_FASTCALL,
     "plain(index, depth, bits, natural, borders, sources, destination, values)"},
    {"translate", core_translate, METH_O, "translate(dib)"},
    {"set_error", core_set_error, METH_O, "set_error(type)"},
    {"names", core_names, METH_NOARGS, "names()"},
    {"context", core_context, METH_NOARGS, "context()"},
    {"set_context", core_set_context, METH_VARARGS, "set_context(status, mode)"},
    {"version", core_version, METH_NOARGS, "version()"},
    {NULL, NULL, 0, NULL},
};

static struct PyModuleDef definition = {PyModuleDef_HEAD_INIT,
                                        "_core",
                                        "Calls of the zylqx library.",
                                        -1,
                                        methods,
                                        NULL,
                                        NULL,
                                        NULL,
                                        NULL};

PyMODINIT_FUNC PyInit__core(void) {
    recordType = (PyTypeObject *)PyType_FromSpec(&recordSpec);
    if (recordType == NULL) return NULL;
    return PyModule_Create(&definition);
}
