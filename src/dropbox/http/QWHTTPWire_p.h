#pragma once

#include <QList>
#include <QTimer>
#include <QUrl>
#include <curl/curl.h>
#include <map>
#include <memory>
#include <vector>

// A request in the form in which it goes out.
struct QWHTTPPost {
    QUrl url;
    QList<QByteArray> headers; // "Name: value"
    QByteArray body;
};

// What an answer says before its body.
struct QWHTTPHead {
    int status = 0;
    QByteArray contentType = {};
    QByteArray retryAfter = {};
    QByteArray result = {}; // Dropbox-API-Result
};

// Hears what becomes of one request.
class QWHTTPListener {
public:
    virtual void sent(qint64 bytes) = 0; // of the body, so far
    // Before the first byte of the body, or before the end when there is none.
    virtual void headCame(const QWHTTPHead& head) = 0;
    // A piece of the body, which lives as long as the call. False breaks the request off, which then ends.
    virtual bool bytesCame(const QByteArray& bytes) = 0;
    // Once, as the last call. Without trouble the whole answer came.
    virtual void ended(const QString& trouble) = 0;

protected:
    ~QWHTTPListener() = default;
};

// HTTP through libcurl, on the event loop of the thread that made it: sockets wake it, and a timer of its
// own, for what is due on the network. Connections are kept; the proxies are those that Qt knows of.
// Listeners are called from the event loop and from `push`.
//
// A request whose kept connection turns out dead before a byte of the answer came is sent again on another.
class QWHTTPWire {
public:
    // A request that is out. Destroying it breaks it off; not from inside a listener's call but the last.
    class Transfer;
    struct TransferDeleter {
        void operator()(Transfer* transfer) const;
    };
    using TransferPtr = std::unique_ptr<Transfer, TransferDeleter>;

    // `certificates`: PEM of those that vouch for servers; empty for the ones that this machine trusts.
    explicit QWHTTPWire(const QByteArray& certificates);
    // Nothing may be out.
    ~QWHTTPWire();
    QWHTTPWire(const QWHTTPWire&) = delete;
    QWHTTPWire& operator=(const QWHTTPWire&) = delete;

    // Goes out on the next turn of the event loop, or with `push`.
    TransferPtr post(const QWHTTPPost& post, QWHTTPListener& listener);
    // Does now what can be done.
    void push() { drive(CURL_SOCKET_TIMEOUT, 0); }

private:
    class Socket;
    struct EasyDeleter {
        void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    };
    struct MultiDeleter {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };
    using Easy = std::unique_ptr<CURL, EasyDeleter>;

    static int watch(CURL*, curl_socket_t socket, int what, void* wire, void*);
    static int startTimer(CURLM*, long milliseconds, void* wire);
    Easy takeEasy();
    void drive(curl_socket_t socket, int events);

    const QByteArray certificates_;
    QTimer timer_;
    // By number. One that is closed stays, asleep: its number soon comes again.
    std::map<curl_socket_t, std::unique_ptr<Socket>> sockets_;
    std::vector<Easy> idle_; // made once, used for request after request
    std::unique_ptr<CURLM, MultiDeleter> multi_;
};
