#include "iconset/svgdocument.h"

#include <QBuffer>
#include <QImageReader>
#include <algorithm>
#include <cairo.h>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <vector>
// GLib names a struct member "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <librsvg/rsvg.h>
#pragma pop_macro("signals")
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

extern char** environ;

namespace iconfoundry {

namespace {

using Clock = std::chrono::steady_clock;

// Set in the environment of the child process: the parent's process id.
constexpr char kChildVariable[] = "ICONFOUNDRY_SVG_RENDERER";
constexpr int kChildSocket = 3;
// A child waits this long for its next request before it exits; the parent starts a new one
// when it has left its child alone for kRestartAfterSeconds, so it never talks to one that is
// just leaving.
constexpr int kChildIdleSeconds = 60;
constexpr int kRestartAfterSeconds = 30;
// Address space a child may make writable: the largest surface (kMaxPixels x 4 bytes) with room
// for a filter's intermediate copies.
constexpr rlim_t kChildDataBytes = rlim_t(2) << 30;
constexpr int kMaxNesting = 3; // SVG documents inside data: URLs inside SVG documents
constexpr qint64 kMaxSide = 16384;
constexpr qint64 kMaxPixels = 8192LL * 8192;
constexpr quint32 kMaxMessage = 4096;

// Wire format between parent and child, native byte order (same binary on both ends).
// Parent: u64 length, document bytes; then any number of RenderRequest.
// Child: LoadReply (+ message) once; RenderReply (+ message, + pixels) per request.
struct LoadReply
{
    qint32 ok;
    double width;
    double height;
    quint32 messageLength;
};
struct RenderRequest
{
    double x, y, width, height;
    qint32 pixelWidth, pixelHeight;
};
struct RenderReply
{
    qint32 ok;
    quint32 messageLength;
};

// ---- Byte transport with a deadline -------------------------------------------------------------

bool waitFor(int fd, short events, Clock::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        pollfd p{fd, events, 0};
        const int n = ::poll(&p, 1, int(std::min<long long>(left.count(), 1000)));
        if (n > 0)
            return true; // readable, writable, or hung up: the next read or send says which
        if (n < 0 && errno != EINTR)
            return false;
    }
}

bool sendAll(int fd, const void* data, size_t size, Clock::time_point deadline)
{
    auto* p = static_cast<const char*>(data);
    while (size > 0) {
        if (!waitFor(fd, POLLOUT, deadline))
            return false;
        const ssize_t n = ::send(fd, p, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= size_t(n);
    }
    return true;
}

bool receiveAll(int fd, void* data, size_t size, Clock::time_point deadline)
{
    auto* p = static_cast<char*>(data);
    while (size > 0) {
        if (!waitFor(fd, POLLIN, deadline))
            return false;
        const ssize_t n = ::recv(fd, p, size, MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= size_t(n);
    }
    return true;
}

Clock::time_point secondsFromNow(int seconds)
{
    return Clock::now() + std::chrono::seconds(seconds);
}

// ---- The child ----------------------------------------------------------------------------------

// Blocking I/O for the child, which has nothing else to do; a parent that goes away ends it.
bool childReceive(void* data, size_t size, int idleSeconds)
{
    return receiveAll(kChildSocket, data, size, secondsFromNow(idleSeconds));
}

bool childSend(const void* data, size_t size)
{
    return sendAll(kChildSocket, data, size, secondsFromNow(3600));
}

// librsvg and cairo are opened by the renderer child alone. Linked into the program, they and
// the libraries they pull in (GLib, Pango, fonts, ...) would be loaded and relocated by every start,
// a bitmap source's or a window's too, for about a third of the loader's time. The pointers carry
// the functions' own names, so the calls below read as plain librsvg and cairo calls.
#define ICONFOUNDRY_LIBRSVG_FUNCTIONS(F)                                                                     \
    F(cairo_create)                                                                                          \
    F(cairo_destroy)                                                                                         \
    F(cairo_image_surface_create)                                                                            \
    F(cairo_image_surface_get_data)                                                                          \
    F(cairo_image_surface_get_stride)                                                                        \
    F(cairo_scale)                                                                                           \
    F(cairo_status)                                                                                          \
    F(cairo_status_to_string)                                                                                \
    F(cairo_surface_destroy)                                                                                 \
    F(cairo_surface_flush)                                                                                   \
    F(cairo_translate)                                                                                       \
    F(g_error_free)                                                                                          \
    F(rsvg_handle_get_geometry_for_layer)                                                                    \
    F(rsvg_handle_get_intrinsic_dimensions)                                                                  \
    F(rsvg_handle_get_intrinsic_size_in_pixels)                                                              \
    F(rsvg_handle_new_from_data)                                                                             \
    F(rsvg_handle_render_document)                                                                           \
    F(rsvg_handle_set_dpi)

#define ICONFOUNDRY_DECLARE_POINTER(name) decltype(&::name) name = nullptr;
ICONFOUNDRY_LIBRSVG_FUNCTIONS(ICONFOUNDRY_DECLARE_POINTER)
#undef ICONFOUNDRY_DECLARE_POINTER

// Opens librsvg (cairo and GLib come with it) and finds every function above; on failure says
// why in message.
bool openLibrsvg(std::string* message)
{
    void* library = ::dlopen("librsvg-2.so.2", RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* reason = ::dlerror();
        *message = std::string("librsvg could not be loaded: ") + (reason ? reason : "unknown error");
        return false;
    }
    bool found = true;
#define ICONFOUNDRY_RESOLVE(name)                                                                            \
    name = reinterpret_cast<decltype(name)>(::dlsym(library, #name));                                        \
    if (!name) {                                                                                             \
        *message = "librsvg lacks " #name;                                                                   \
        found = false;                                                                                       \
    }
    ICONFOUNDRY_LIBRSVG_FUNCTIONS(ICONFOUNDRY_RESOLVE)
#undef ICONFOUNDRY_RESOLVE
    return found;
}

std::string errorText(GError* error, const char* fallback)
{
    std::string text = error && error->message ? error->message : fallback;
    if (error)
        g_error_free(error);
    if (text.size() > kMaxMessage)
        text.resize(kMaxMessage);
    return text;
}

// The frame render requests are expressed in: width and height in pixels when the document has
// absolute ones, else its view box, else what its content covers.
bool intrinsicSize(RsvgHandle* handle, double* width, double* height)
{
    if (rsvg_handle_get_intrinsic_size_in_pixels(handle, width, height))
        return true;
    gboolean hasWidth = false, hasHeight = false, hasViewBox = false;
    RsvgLength w{}, h{};
    RsvgRectangle viewBox{};
    rsvg_handle_get_intrinsic_dimensions(handle, &hasWidth, &w, &hasHeight, &h, &hasViewBox, &viewBox);
    if (hasViewBox) {
        *width = viewBox.width;
        *height = viewBox.height;
        return true;
    }
    RsvgRectangle viewport{0, 0, 100, 100};
    RsvgRectangle ink{}, logical{};
    if (!rsvg_handle_get_geometry_for_layer(handle, nullptr, &viewport, &ink, &logical, nullptr))
        return false;
    *width = logical.x + logical.width;
    *height = logical.y + logical.height;
    return true;
}

[[noreturn]] void serveParent()
{
    quint64 length = 0;
    if (!childReceive(&length, sizeof length, kChildIdleSeconds) || length > quint64(SvgDocument::kMaxBytes))
        ::_exit(1);
    std::vector<char> document(length);
    if (!childReceive(document.data(), length, kChildIdleSeconds))
        ::_exit(1);

    std::string message;
    const bool opened = openLibrsvg(&message);
    GError* error = nullptr;
    RsvgHandle* handle =
        opened ? rsvg_handle_new_from_data(reinterpret_cast<const guint8*>(document.data()), length, &error)
               : nullptr;
    if (handle)
        rsvg_handle_set_dpi(handle, 96); // the CSS inch, as rsvg-convert and browsers use
    LoadReply loaded{0, 0, 0, 0};
    if (opened && !handle)
        message = errorText(error, "librsvg could not read it");
    else if (opened && !intrinsicSize(handle, &loaded.width, &loaded.height))
        message = "it has no size";
    else if (opened)
        loaded.ok = 1;
    loaded.messageLength = quint32(message.size());
    if (!childSend(&loaded, sizeof loaded) || !childSend(message.data(), message.size()) || !loaded.ok)
        ::_exit(0);
    std::vector<char>().swap(document);

    for (;;) {
        RenderRequest request{};
        if (!childReceive(&request, sizeof request, kChildIdleSeconds))
            ::_exit(0);
        const int w = request.pixelWidth, h = request.pixelHeight;
        if (w <= 0 || h <= 0 || w > kMaxSide || h > kMaxSide || qint64(w) * h > kMaxPixels)
            ::_exit(1);
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        cairo_t* cr = cairo_create(surface);
        RenderReply reply{0, 0};
        message.clear();
        if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) {
            message = "there is not enough memory for its pixels";
        } else {
            // The requested part of the document, stretched over the surface like rsvg-convert
            // stretches the whole document when given both a width and a height.
            cairo_scale(cr, w / request.width, h / request.height);
            cairo_translate(cr, -request.x, -request.y);
            const RsvgRectangle viewport{0, 0, loaded.width, loaded.height};
            error = nullptr;
            if (!rsvg_handle_render_document(handle, cr, &viewport, &error))
                message = errorText(error, "librsvg could not draw it");
            else if (cairo_status(cr) != CAIRO_STATUS_SUCCESS)
                message = cairo_status_to_string(cairo_status(cr));
            else
                reply.ok = 1;
        }
        cairo_surface_flush(surface);
        reply.messageLength = quint32(message.size());
        if (!childSend(&reply, sizeof reply) || !childSend(message.data(), message.size()))
            ::_exit(0);
        if (reply.ok) {
            const unsigned char* pixels = cairo_image_surface_get_data(surface);
            const int stride = cairo_image_surface_get_stride(surface);
            // Rows are packed for ARGB32 (stride = 4 x width); sent row by row only if not.
            const bool packed = stride == w * 4;
            for (int y = 0; y < (packed ? 1 : h); ++y)
                if (!childSend(pixels + qsizetype(y) * stride, size_t(w) * 4 * (packed ? h : 1)))
                    ::_exit(0);
        }
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
    }
}

// Runs before main() in every executable that links this file: in a process started as a
// renderer it serves its parent and exits, so main() (and with it Qt) never starts there.
[[maybe_unused]] const bool kRendererChild = [] {
    const char* parent = std::getenv(kChildVariable);
    if (!parent)
        return false;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (std::to_string(::getppid()) != parent)
        ::_exit(1); // the parent ended before the line above
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
#if !defined(__SANITIZE_ADDRESS__)
    // (Not in a sanitizer build: AddressSanitizer's own shadow memory is far beyond the limit, and
    // the child could then allocate nothing.)
    const rlimit data{kChildDataBytes, kChildDataBytes};
    ::setrlimit(RLIMIT_DATA, &data);
#endif
    serveParent();
}();

// ---- Scanning the text --------------------------------------------------------------------------

struct ScanBudget
{
    qint64 elements = 0;
    qint64 styleBytes = 0;
    qint64 embeddedPixels = 0;
};

struct Refusal
{
    SvgDocument::Failure failure = SvgDocument::NoFailure;
    QString reason;
};

bool refuse(Refusal* refusal, SvgDocument::Failure failure, const QString& reason)
{
    *refusal = {failure, reason};
    return false;
}

bool inflateCapped(const QByteArray& compressed, QByteArray* out, Refusal* refusal)
{
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return refuse(refusal, SvgDocument::TooLarge, QStringLiteral("could not be decompressed."));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.constData()));
    stream.avail_in = uInt(compressed.size());
    QByteArray inflated;
    constexpr qsizetype kChunk = 1 << 20;
    int status = Z_OK;
    while (status == Z_OK) {
        if (inflated.size() >= SvgDocument::kMaxBytes) {
            inflateEnd(&stream);
            return refuse(refusal, SvgDocument::TooLarge,
                          QStringLiteral("is compressed and expands to more than %1 MiB.")
                              .arg(SvgDocument::kMaxBytes >> 20));
        }
        const qsizetype used = inflated.size();
        inflated.resize(used + kChunk);
        stream.next_out = reinterpret_cast<Bytef*>(inflated.data() + used);
        stream.avail_out = uInt(kChunk);
        status = inflate(&stream, Z_NO_FLUSH);
        inflated.resize(used + kChunk - qsizetype(stream.avail_out));
        if (status == Z_BUF_ERROR && stream.avail_in == 0)
            break; // the input ended before the stream did
    }
    inflateEnd(&stream);
    if (status != Z_STREAM_END)
        return refuse(refusal, SvgDocument::Malformed,
                      QStringLiteral("is a damaged or truncated compressed SVG document."));
    *out = std::move(inflated);
    return true;
}

bool startsName(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':';
}

// Start tags, counted also where a nested document hides them from the XML parser ("&lt;rect",
// "%3Crect"). Comments and CDATA sections count too: the limit is on the text, not the tree.
qint64 countElements(const QByteArray& text)
{
    qint64 count = 0;
    const char* p = text.constData();
    const qsizetype n = text.size();
    for (qsizetype i = 0; i + 1 < n; ++i) {
        if (p[i] == '<' && startsName(p[i + 1]))
            ++count;
        else if (p[i] == '&' && i + 4 < n && std::memcmp(p + i, "&lt;", 4) == 0 && startsName(p[i + 4]))
            ++count;
        else if (p[i] == '%' && i + 3 < n && p[i + 1] == '3' && (p[i + 2] == 'C' || p[i + 2] == 'c') &&
                 startsName(p[i + 3]))
            ++count;
    }
    return count;
}

// Internal general entities with literal values are what editors write (Illustrator declares
// its namespaces that way); anything that makes the parser fetch or build text is refused.
bool checkEntities(const QByteArray& text, Refusal* refusal)
{
    int count = 0;
    for (qsizetype at = text.indexOf("<!ENTITY"); at >= 0; at = text.indexOf("<!ENTITY", at + 8)) {
        if (++count > 100)
            return refuse(refusal, SvgDocument::TooLarge, QStringLiteral("declares too many XML entities."));
        qsizetype i = at + 8;
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n'))
            ++i;
        if (i < text.size() && text[i] == '%')
            return refuse(refusal, SvgDocument::Malformed,
                          QStringLiteral("declares an XML parameter entity, which is not supported."));
        // Up to the closing '>' outside quotes.
        char quote = 0;
        QByteArray outside;
        for (; i < text.size(); ++i) {
            const char c = text[i];
            if (quote) {
                if (c == quote)
                    quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                break;
            } else {
                outside.append(c);
            }
        }
        if (outside.contains("SYSTEM") || outside.contains("PUBLIC"))
            return refuse(refusal, SvgDocument::Malformed,
                          QStringLiteral("declares an external XML entity, which is not read."));
    }
    return true;
}

qint64 styleSheetBytes(const QByteArray& text)
{
    qint64 bytes = 0;
    for (qsizetype at = text.indexOf("<style"); at >= 0; at = text.indexOf("<style", at + 6)) {
        const qsizetype end = text.indexOf("</style", at);
        bytes += (end < 0 ? text.size() : end) - at;
    }
    return bytes;
}

QByteArray xmlUnescaped(QByteArray text)
{
    return text.replace("&lt;", "<")
        .replace("&gt;", ">")
        .replace("&quot;", "\"")
        .replace("&apos;", "'")
        .replace("&amp;", "&");
}

bool scan(const QByteArray& text, int depth, ScanBudget* budget, Refusal* refusal);

// One data: URL starting at `at`; where it ends is the first quote, parenthesis or markup.
bool scanDataUrl(const QByteArray& text, qsizetype at, int depth, ScanBudget* budget, Refusal* refusal,
                 qsizetype* end)
{
    const qsizetype comma = text.indexOf(',', at);
    qsizetype stop = at + 5;
    while (stop < text.size() && !std::strchr("\"')<", text[stop]))
        ++stop;
    *end = stop;
    if (comma < 0 || comma > stop)
        return true;
    const QByteArray header = text.mid(at + 5, comma - at - 5).toLower();
    QByteArray payload = xmlUnescaped(text.mid(comma + 1, stop - comma - 1));
    if (header.endsWith(";base64")) {
        payload = QByteArray::fromBase64(payload.simplified().replace(' ', QByteArray()));
    } else {
        payload = QByteArray::fromPercentEncoding(payload);
    }
    if (SvgDocument::isCompressed(payload) || header.startsWith("image/svg")) {
        if (depth >= kMaxNesting)
            return refuse(refusal, SvgDocument::TooLarge,
                          QStringLiteral("nests SVG documents in each other too deeply."));
        QByteArray nested = payload;
        if (SvgDocument::isCompressed(payload) && !inflateCapped(payload, &nested, refusal))
            return false;
        return scan(nested, depth + 1, budget, refusal);
    }
    // A bitmap: its header says how many pixels decoding it would allocate.
    QSize size;
    if (payload.startsWith("\x89PNG\r\n\x1a\n") && payload.size() >= 24) {
        // Read straight from the header: a decoder may refuse to say before it sees pixel data.
        auto be32 = [&](int at) {
            const auto* b = reinterpret_cast<const uchar*>(payload.constData() + at);
            return qint64(b[0]) << 24 | b[1] << 16 | b[2] << 8 | b[3];
        };
        size = QSize(int(std::min<qint64>(be32(16), INT_MAX)), int(std::min<qint64>(be32(20), INT_MAX)));
    } else {
        QBuffer buffer(&payload);
        buffer.open(QIODevice::ReadOnly);
        size = QImageReader(&buffer).size();
    }
    if (!size.isValid())
        return true; // librsvg will find nothing it can decode either
    budget->embeddedPixels += qint64(size.width()) * size.height();
    if (size.width() > kMaxSide || size.height() > kMaxSide || budget->embeddedPixels > kMaxPixels)
        return refuse(refusal, SvgDocument::TooLarge,
                      QStringLiteral("holds an embedded image of %1 \u00d7 %2 pixels, more than an image may "
                                     "have.")
                          .arg(size.width())
                          .arg(size.height()));
    return true;
}

bool scan(const QByteArray& text, int depth, ScanBudget* budget, Refusal* refusal)
{
    if (text.size() > SvgDocument::kMaxBytes)
        return refuse(refusal, SvgDocument::TooLarge,
                      QStringLiteral("is larger than %1 MiB.").arg(SvgDocument::kMaxBytes >> 20));
    budget->elements += countElements(text);
    if (budget->elements > SvgDocument::kMaxElements)
        return refuse(refusal, SvgDocument::TooLarge,
                      QStringLiteral("has more than %1 elements.").arg(SvgDocument::kMaxElements));
    budget->styleBytes += styleSheetBytes(text);
    if (budget->styleBytes > SvgDocument::kMaxStyleSheetBytes)
        return refuse(refusal, SvgDocument::TooLarge,
                      QStringLiteral("has style sheets larger than %1 KiB.")
                          .arg(SvgDocument::kMaxStyleSheetBytes >> 10));
    if (!checkEntities(text, refusal))
        return false;
    const QByteArrayView scheme("data:");
    for (qsizetype at = 0; (at = text.indexOf(scheme, at)) >= 0;) {
        qsizetype end = at;
        if (!scanDataUrl(text, at, depth, budget, refusal, &end))
            return false;
        at = std::max(end, at + 5);
    }
    return true;
}

} // namespace

// ---- The parent's end of a child ----------------------------------------------------------------

namespace detail {

class SvgRendererProcess
{
public:
    ~SvgRendererProcess() { stop(); }

    // Starts a child and has it parse `document`; false with `reason` when either fails.
    bool start(const QByteArray& document, QSizeF* size, QString* reason)
    {
        int sockets[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
            *reason = QStringLiteral("no process could be started to draw it (%1)").arg(strerror(errno));
            return false;
        }
        socket_ = sockets[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, sockets[1], kChildSocket);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none, defaults;
        sigemptyset(&none);
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

        std::vector<std::string> variables;
        for (char** e = environ; e && *e; ++e)
            if (std::strncmp(*e, kChildVariable, sizeof kChildVariable - 1) != 0)
                variables.emplace_back(*e);
        variables.push_back(std::string(kChildVariable) + "=" + std::to_string(::getpid()));
        std::vector<char*> envp;
        for (std::string& v : variables)
            envp.push_back(v.data());
        envp.push_back(nullptr);
        char name[] = "iconfoundry-svg-renderer";
        char* argv[] = {name, nullptr};
        const int spawned = posix_spawn(&pid_, "/proc/self/exe", &actions, &attributes, argv, envp.data());
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        ::close(sockets[1]);
        if (spawned != 0) {
            pid_ = -1;
            *reason = QStringLiteral("no process could be started to draw it (%1)").arg(strerror(spawned));
            return false;
        }

        const auto deadline = secondsFromNow(SvgDocument::kSecondsPerStep);
        const quint64 length = quint64(document.size());
        if (!sendAll(socket_, &length, sizeof length, deadline) ||
            !sendAll(socket_, document.constData(), size_t(document.size()), deadline)) {
            *reason = ended(deadline, "reading it");
            return false;
        }
        LoadReply reply{};
        if (!receiveReply(&reply, deadline, "reading it", reason))
            return false;
        *size = QSizeF(reply.width, reply.height);
        lastUse_ = Clock::now();
        return true;
    }

    bool render(const QRectF& part, QSize pixels, QImage* out, QString* reason)
    {
        const auto deadline = secondsFromNow(SvgDocument::kSecondsPerStep);
        const RenderRequest request{part.x(),      part.y(),       part.width(),
                                    part.height(), pixels.width(), pixels.height()};
        if (!sendAll(socket_, &request, sizeof request, deadline)) {
            *reason = ended(deadline, "drawing it");
            return false;
        }
        RenderReply reply{};
        if (!receiveReply(&reply, deadline, "drawing it", reason))
            return false;
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        if (image.isNull()) {
            *reason = QStringLiteral("there is not enough memory for its pixels");
            stop();
            return false;
        }
        const int w = pixels.width(), h = pixels.height();
        const bool packed = image.bytesPerLine() == qsizetype(w) * 4;
        for (int y = 0; y < (packed ? 1 : h); ++y)
            if (!receiveAll(socket_, image.scanLine(y), size_t(w) * 4 * (packed ? h : 1), deadline)) {
                *reason = ended(deadline, "drawing it");
                return false;
            }
        lastUse_ = Clock::now();
        *out = std::move(image);
        return true;
    }

    bool timedOut() const { return timedOut_; }
    bool idleTooLong() const { return Clock::now() - lastUse_ > std::chrono::seconds(kRestartAfterSeconds); }

private:
    // Why the child stopped answering; it is ended for good either way.
    // Reads a reply and the message after it. False when the child does not answer in time (the
    // reason says what it was doing) or answers that it failed (the reason is its message).
    template <typename Reply>
    bool receiveReply(Reply* reply, Clock::time_point deadline, const char* doing, QString* reason)
    {
        if (!receiveAll(socket_, reply, sizeof *reply, deadline) || reply->messageLength > kMaxMessage) {
            *reason = ended(deadline, doing);
            return false;
        }
        QByteArray message(reply->messageLength, Qt::Uninitialized);
        if (!receiveAll(socket_, message.data(), size_t(message.size()), deadline)) {
            *reason = ended(deadline, doing);
            return false;
        }
        if (!reply->ok)
            *reason = QString::fromUtf8(message);
        return reply->ok;
    }

    QString ended(Clock::time_point deadline, const char* doing)
    {
        timedOut_ = Clock::now() >= deadline;
        const int status = stop();
        if (timedOut_)
            return QStringLiteral("librsvg took more than %1 seconds %2")
                .arg(SvgDocument::kSecondsPerStep)
                .arg(QLatin1String(doing));
        if (WIFSIGNALED(status))
            return QStringLiteral("librsvg failed while %1 (signal %2; it may need more memory than a "
                                  "document may use)")
                .arg(QLatin1String(doing))
                .arg(WTERMSIG(status));
        return QStringLiteral("librsvg failed while %1").arg(QLatin1String(doing));
    }

    int stop()
    {
        int status = 0;
        if (socket_ >= 0)
            ::close(socket_);
        socket_ = -1;
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
            }
        }
        pid_ = -1;
        return status;
    }

    pid_t pid_ = -1;
    int socket_ = -1;
    Clock::time_point lastUse_;
    bool timedOut_ = false;
};

} // namespace detail

bool SvgDocument::isCompressed(const QByteArray& head)
{
    return head.startsWith("\x1f\x8b");
}

std::shared_ptr<const SvgDocument> SvgDocument::load(const QByteArray& data, Failure* failure,
                                                     QString* reason)
{
    Refusal refusal;
    QByteArray text = data;
    ScanBudget budget;
    if ((isCompressed(data) && !inflateCapped(data, &text, &refusal)) || !scan(text, 0, &budget, &refusal)) {
        *failure = refusal.failure;
        *reason = refusal.reason;
        return nullptr;
    }

    std::shared_ptr<SvgDocument> document(new SvgDocument);
    document->bytes_ = std::move(text);
    auto process = std::make_unique<detail::SvgRendererProcess>();
    QString why;
    if (!process->start(document->bytes_, &document->size_, &why)) {
        *failure = process->timedOut() ? TooLarge : Malformed;
        *reason = process->timedOut() ? QStringLiteral("could not be read (%1).").arg(why)
                                      : QStringLiteral("is not a valid SVG document (%1).").arg(why);
        return nullptr;
    }
    if (!(document->size_.width() > 0 && document->size_.height() > 0)) {
        *failure = Empty;
        *reason = QStringLiteral("has no size.");
        return nullptr;
    }
    document->process_ = std::move(process);
    return document;
}

SvgDocument::~SvgDocument() = default;

QImage SvgDocument::render(const QRectF& part, QSize pixels, QString* reason) const
{
    QString why;
    QImage image;
    if (pixels.isEmpty() || pixels.width() > kMaxSide || pixels.height() > kMaxSide ||
        qint64(pixels.width()) * pixels.height() > kMaxPixels || !(part.width() > 0 && part.height() > 0)) {
        why =
            QStringLiteral("nothing to draw at %1 \u00d7 %2 pixels").arg(pixels.width()).arg(pixels.height());
    } else {
        std::lock_guard lock(mutex_);
        if (broken_.isEmpty()) {
            if (process_ && process_->idleTooLong())
                process_.reset();
            QSizeF size;
            if (!process_) {
                auto process = std::make_unique<detail::SvgRendererProcess>();
                if (process->start(bytes_, &size, &why))
                    process_ = std::move(process);
                else
                    broken_ = why;
            }
            if (process_ && !process_->render(part, pixels, &image, &why)) {
                process_.reset();
                broken_ = why;
            }
        } else {
            why = broken_;
        }
    }
    if (image.isNull() && reason)
        *reason = why;
    return image;
}

} // namespace iconfoundry
