#include "http/Codec.h"

#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/serializer.hpp>

namespace standin {

namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr qint64 pieceSize = 64 * 1024;

// How the parser and the serializer reach a spool. The names are those that they ask for. The spool is put
// into the message after they are made, so they hold references to its place there.
struct SpoolBody {
    using value_type = Spool*;

    class reader {
    public:
        template <bool isRequest, class Fields>
        reader(http::header<isRequest, Fields>&, value_type& spool) : spool_(spool) {}

        void init(const boost::optional<std::uint64_t>&, beast::error_code& problem) { problem = {}; }
        template <class Buffers>
        std::size_t put(const Buffers& buffers, beast::error_code& problem) {
            std::size_t taken = 0;
            for (const boost::asio::const_buffer buffer : beast::buffers_range_ref(buffers)) {
                const auto size = qint64(buffer.size());
                if (spool_->write(static_cast<const char*>(buffer.data()), size) != size) {
                    problem = make_error_code(boost::system::errc::no_space_on_device);
                    return taken;
                }
                taken += buffer.size();
            }
            problem = {};
            return taken;
        }
        void finish(beast::error_code& problem) { problem = {}; }

    private:
        Spool*& spool_;
    };

    class writer {
    public:
        using const_buffers_type = boost::asio::const_buffer;

        template <bool isRequest, class Fields>
        writer(const http::header<isRequest, Fields>&, const value_type& spool) : spool_(spool) {}

        void init(beast::error_code& problem) { problem = {}; }
        boost::optional<std::pair<const_buffers_type, bool>> get(beast::error_code& problem) {
            problem = {};
            piece_ = spool_->read(pieceSize);
            if (piece_.isEmpty())
                return boost::none;
            return {{const_buffers_type(piece_.constData(), std::size_t(piece_.size())), !spool_->atEnd()}};
        }

    private:
        Spool* const& spool_;
        QByteArray piece_;
    };
};

QByteArray bytesOf(beast::string_view text) {
    return QByteArray(text.data(), qsizetype(text.size()));
}

} // namespace

struct RequestReader::Parser : http::request_parser<SpoolBody> {};

RequestReader::RequestReader() : parser_(std::make_unique<Parser>()) {
    parser_->header_limit(longestHead);
    parser_->body_limit(longestBody);
    parser_->get().body() = request_.body.get();
}

RequestReader::~RequestReader() = default;

bool RequestReader::hasHead() const {
    return parser_->is_header_done();
}

bool RequestReader::isWhole() const {
    return parser_->is_done();
}

qsizetype RequestReader::take(QByteArrayView bytes) {
    const bool hadHead = hasHead();
    beast::error_code problem;
    const std::size_t taken =
        parser_->put(boost::asio::const_buffer(bytes.data(), std::size_t(bytes.size())), problem);
    if (problem == http::error::header_limit)
        problem_ = HeadTooLong;
    else if (problem == http::error::body_limit)
        problem_ = BodyTooLong;
    else if (problem && problem != http::error::need_more)
        problem_ = Malformed;
    if (hasHead() && !hadHead) {
        const auto& message = parser_->get();
        request_.method = bytesOf(message.method_string());
        request_.target = QUrl::fromEncoded(bytesOf(message.target()), QUrl::StrictMode);
        request_.keepsAlive = message.keep_alive();
        for (const auto& field : message)
            request_.headers.emplace_back(bytesOf(field.name_string()), bytesOf(field.value()));
    }
    if (isWhole())
        request_.body->seek(0);
    return qsizetype(taken);
}

struct ReplyWriter::Serializer {
    http::response<SpoolBody> message;
    http::response_serializer<SpoolBody> serializer{message};
};

ReplyWriter::ReplyWriter(const Reply& reply, bool keepsAlive)
    : body_(reply.body), serializer_(std::make_unique<Serializer>()) {
    auto& message = serializer_->message;
    message.result(unsigned(reply.status));
    message.set(http::field::server, "qw-stand-in");
    for (const auto& [name, value] : reply.headers)
        message.set(beast::string_view(name.constData(), std::size_t(name.size())),
                    beast::string_view(value.constData(), std::size_t(value.size())));
    message.content_length(std::uint64_t(body_->size()));
    message.keep_alive(keepsAlive);
    message.body() = body_.get();
    if (reply.fate == Reply::Cut)
        body_->truncate(body_->size() / 2);
    body_->seek(0);
}

ReplyWriter::~ReplyWriter() = default;

bool ReplyWriter::isDone() const {
    return serializer_->serializer.is_done();
}

QByteArray ReplyWriter::next() {
    QByteArray piece;
    beast::error_code problem;
    serializer_->serializer.next(problem, [&piece](beast::error_code& visited, const auto& buffers) {
        visited = {};
        for (const boost::asio::const_buffer buffer : beast::buffers_range_ref(buffers))
            piece.append(static_cast<const char*>(buffer.data()), qsizetype(buffer.size()));
    });
    serializer_->serializer.consume(std::size_t(piece.size()));
    return piece;
}

} // namespace standin
