#include "session/CoreFiles.h"

#include <QtGlobal>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif
#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

void atlas::makeNoCoreFiles() {
#ifdef Q_OS_UNIX
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
#endif
#ifdef Q_OS_LINUX
    // The limit means nothing to a program that the system hands the image to.
    prctl(PR_SET_DUMPABLE, 0);
#endif
}
