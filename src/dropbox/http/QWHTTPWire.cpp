#include "dropbox/http/QWHTTPWire_p.h"

#include <QNetworkProxyFactory>
#include <QSocketNotifier>
#include <array>
#include <fcntl.h>

namespace {

constexpr long connectionsToHost = 6;
constexpr long hosts = 2;

CURLM* newMulti() {
    static const CURLcode once = curl_global_init(CURL_GLOBAL_DEFAULT);
    CURLM* const multi = once == CURLE_OK ? curl_multi_init() : nullptr;
    Q_CHECK_PTR(multi);
    return multi;
}

// Of the answer itself: neither of one that announced it nor of a proxy.
QByteArray header(CURL* easy, const char* name) {
    curl_header* found = nullptr;
    return curl_easy_header(easy, name, 0, CURLH_HEADER, -1, &found) == CURLHE_OK ? QByteArray(found->value)
                                                                                  : QByteArray();
}

// A child of the host must not keep a connection open.
int closeInChildren(void*, curl_socket_t socket, curlsocktype) {
#ifdef FD_CLOEXEC
    fcntl(socket, F_SETFD, FD_CLOEXEC);
#else
    Q_UNUSED(socket);
#endif
    return CURL_SOCKOPT_OK;
}

// As Qt says for this place: what the host has set for its process, else what the system is set to.
void setProxy(CURL* easy, const QUrl& url) {
    const QNetworkProxy proxy = QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url)).value(0);
    const bool isSocks = proxy.type() == QNetworkProxy::Socks5Proxy;
    if (!isSocks && proxy.type() != QNetworkProxy::HttpProxy
        && proxy.type() != QNetworkProxy::HttpCachingProxy) {
        curl_easy_setopt(easy, CURLOPT_PROXY, "");
        return;
    }
    curl_easy_setopt(easy, CURLOPT_PROXY, proxy.hostName().toUtf8().constData());
    curl_easy_setopt(easy, CURLOPT_PROXYPORT, long(proxy.port()));
    curl_easy_setopt(easy, CURLOPT_PROXYTYPE, long(isSocks ? CURLPROXY_SOCKS5_HOSTNAME : CURLPROXY_HTTP));
    if (proxy.user().isEmpty())
        return;
    curl_easy_setopt(easy, CURLOPT_PROXYUSERNAME, proxy.user().toUtf8().constData());
    curl_easy_setopt(easy, CURLOPT_PROXYPASSWORD, proxy.password().toUtf8().constData());
    curl_easy_setopt(easy, CURLOPT_PROXYAUTH, long(CURLAUTH_ANY));
}

} // namespace

// Transfers -------------------------------------------------------------------------------------------------

class QWHTTPWire::Transfer {
public:
    Transfer(QWHTTPWire& wire, const QWHTTPPost& post, QWHTTPListener& listener)
        : wire_(wire), easy_(wire.takeEasy()), body_(post.body), listener_(listener) {
        setWhere(post.url);
        setWhat(post.headers);
        curl_multi_add_handle(wire_.multi_.get(), easy_.get());
    }
    ~Transfer() {
        curl_multi_remove_handle(wire_.multi_.get(), easy_.get());
        curl_easy_reset(easy_.get());
        wire_.idle_.push_back(std::move(easy_));
    }

    void ended(CURLcode result) {
        if (result == CURLE_OK)
            tellHead();
        listener_.ended(result == CURLE_OK ? QString() : reasonOf(result)); // May destroy the transfer.
    }

private:
    struct ListDeleter {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    template <class Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(easy_.get(), option, value);
    }

    void setWhere(const QUrl& url) {
        set(CURLOPT_URL, url.toEncoded().constData());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_2TLS));
        set(CURLOPT_SSL_VERIFYPEER, 1L);
        set(CURLOPT_SSL_VERIFYHOST, 2L);
        set(CURLOPT_SSLVERSION, long(CURL_SSLVERSION_TLSv1_2));
        setCertificates(wire_.certificates_);
        setProxy(easy_.get(), url);
        set(CURLOPT_SOCKOPTFUNCTION, closeInChildren);
        // No signals: the process is the host's. A thread looks names up, and nothing waits for it.
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_QUICK_EXIT, 1L);
        set(CURLOPT_PRIVATE, this);
        set(CURLOPT_ERRORBUFFER, reason_.data());
    }

    void setCertificates(const QByteArray& certificates) {
        static const bool hasSystemFile = curl_version_info(CURLVERSION_NOW)->cainfo;
        if (!certificates.isEmpty()) {
            curl_blob blob{const_cast<char*>(certificates.constData()), size_t(certificates.size()),
                           CURL_BLOB_NOCOPY};
            set(CURLOPT_CAINFO_BLOB, &blob);
        }
        // The system's folder holds what its file does. The file alone is read once for all connections, the
        // two for each, which takes 17 ms.
        if (hasSystemFile || !certificates.isEmpty())
            set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }

    void setWhat(const QList<QByteArray>& headers) {
        for (const QByteArray& line : headers)
            addHeader(line.constData());
        addHeader("Expect:"); // sends the body without asking first
        set(CURLOPT_HTTPHEADER, headers_.get());
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDS, body_.constData());
        set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(body_.size()));
        set(CURLOPT_WRITEFUNCTION, bytesCame);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_XFERINFOFUNCTION, moved);
        set(CURLOPT_XFERINFODATA, this);
        set(CURLOPT_NOPROGRESS, 0L);
    }
    void addHeader(const char* line) {
        curl_slist* const list = curl_slist_append(headers_.get(), line);
        Q_CHECK_PTR(list);
        if (!headers_)
            headers_.reset(list);
    }

    static size_t bytesCame(char* bytes, size_t one, size_t count, void* self) {
        auto& transfer = *static_cast<Transfer*>(self);
        transfer.tellHead();
        const size_t size = one * count;
        return transfer.listener_.bytesCame(QByteArray::fromRawData(bytes, qsizetype(size)))
                   ? size
                   : CURL_WRITEFUNC_ERROR;
    }
    static int moved(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
        auto& transfer = *static_cast<Transfer*>(self);
        if (std::exchange(transfer.sent_, sent) != sent)
            transfer.listener_.sent(sent);
        return 0;
    }

    void tellHead() {
        if (std::exchange(isHeadTold_, true))
            return;
        CURL* const easy = easy_.get();
        long status = 0;
        curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
        listener_.headCame({.status = int(status),
                            .contentType = header(easy, "Content-Type"),
                            .retryAfter = header(easy, "Retry-After"),
                            .result = header(easy, "Dropbox-API-Result")});
    }

    QString reasonOf(CURLcode result) const {
        const QString reason =
            QString::fromLocal8Bit(reason_[0] ? reason_.data() : curl_easy_strerror(result));
        long systemError = 0;
        curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &systemError);
        if (systemError == 0)
            return reason;
        return QStringLiteral("%1: %2").arg(reason, qt_error_string(int(systemError)));
    }

    QWHTTPWire& wire_;
    Easy easy_;
    const QByteArray body_;
    QWHTTPListener& listener_;
    std::unique_ptr<curl_slist, ListDeleter> headers_;
    std::array<char, CURL_ERROR_SIZE> reason_{};
    bool isHeadTold_ = false;
    curl_off_t sent_ = 0;
};

void QWHTTPWire::TransferDeleter::operator()(Transfer* transfer) const {
    delete transfer;
}

// The event loop --------------------------------------------------------------------------------------------

// Wakes the wire when a socket has bytes or takes some.
class QWHTTPWire::Socket {
public:
    Socket(QWHTTPWire& wire, curl_socket_t socket)
        : in_(socket, QSocketNotifier::Read), out_(socket, QSocketNotifier::Write) {
        const auto drive = [&wire, socket](int event) {
            return [&wire, socket, event] { wire.drive(socket, event); };
        };
        QObject::connect(&in_, &QSocketNotifier::activated, &in_, drive(CURL_CSELECT_IN));
        QObject::connect(&out_, &QSocketNotifier::activated, &out_, drive(CURL_CSELECT_OUT));
    }

    void watch(int what) {
        in_.setEnabled(what & CURL_POLL_IN);
        out_.setEnabled(what & CURL_POLL_OUT);
    }

private:
    QSocketNotifier in_, out_;
};

QWHTTPWire::QWHTTPWire(const QByteArray& certificates) : certificates_(certificates), multi_(newMulti()) {
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { push(); });
    CURLM* const multi = multi_.get();
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, watch);
    curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, startTimer);
    curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, connectionsToHost);
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, hosts * connectionsToHost);
}

QWHTTPWire::~QWHTTPWire() = default;

QWHTTPWire::TransferPtr QWHTTPWire::post(const QWHTTPPost& post, QWHTTPListener& listener) {
    return TransferPtr(new Transfer(*this, post, listener));
}

QWHTTPWire::Easy QWHTTPWire::takeEasy() {
    Easy easy;
    if (!idle_.empty()) {
        easy = std::move(idle_.back());
        idle_.pop_back();
    } else {
        easy.reset(curl_easy_init());
        Q_CHECK_PTR(easy.get());
    }
    return easy;
}

int QWHTTPWire::watch(CURL*, curl_socket_t socket, int what, void* self, void*) {
    auto& wire = *static_cast<QWHTTPWire*>(self);
    auto& watched = wire.sockets_[socket];
    if (!watched)
        watched = std::make_unique<Socket>(wire, socket);
    watched->watch(what);
    return 0;
}

int QWHTTPWire::startTimer(CURLM*, long milliseconds, void* self) {
    QTimer& timer = static_cast<QWHTTPWire*>(self)->timer_;
    if (milliseconds < 0)
        timer.stop();
    else
        timer.start(std::chrono::milliseconds(milliseconds));
    return 0;
}

void QWHTTPWire::drive(curl_socket_t socket, int events) {
    CURLM* const multi = multi_.get();
    int running = 0, left = 0;
    curl_multi_socket_action(multi, socket, events, &running);
    while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
        void* transfer = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
        static_cast<Transfer*>(transfer)->ended(message->data.result);
    }
}
