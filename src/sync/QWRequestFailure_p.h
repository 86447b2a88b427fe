#pragma once

#include "platform/QWError.h"

namespace qw::sync {

// What a failed request asks for, by the HTTP status in its error.
enum class RequestFailure {
    TokenRefused, // 401: nothing works until the user has signed in again
    FileGone,     // 404
    Transient,    // anything else, no answer included: worth another try
};

inline RequestFailure requestFailure(const QWError& error) {
    switch (error.code) {
    case 401:
        return RequestFailure::TokenRefused;
    case 404:
        return RequestFailure::FileGone;
    default:
        return RequestFailure::Transient;
    }
}

// The error with everything that it says, for the log.
inline QString errorDescription(const QWError& error) {
    return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"")
        .arg(error.domain)
        .arg(error.code)
        .arg(error.message);
}

} // namespace qw::sync
