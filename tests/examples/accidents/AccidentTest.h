#pragma once

#include "examples/AtlasProcess.h"

inline const QStringList syncOnce = {"sync", "--once", "--timeout", "60"};

// Two desktops with a server between them, and tables to import: 11 records and two flags.
class AccidentTest : public AtlasProcessTest {
protected:
    AccidentTest() : AtlasProcessTest("http") {}

    void startInStep() {
        a_.importISO(iso_);
        connect(a_);
        connect(b_);
        syncBoth();
        a_.ageFlags();
        b_.ageFlags();
    }
    // All the same, in the cloud too, and nothing left to do.
    void expectInStep() const {
        syncBoth();
        const Desktop third(path("C"));
        connect(third);
        third.tell(syncOnce);
        EXPECT_EQ(a_.digest(), b_.digest());
        EXPECT_EQ(a_.digest(), third.digest());
        EXPECT_EQ(a_.waiting() + b_.waiting(), 0);
    }
    // The server keeps the fifth request of that kind without an answer, until it is started again.
    void holdFifth(const QString& route) {
        cloud_.start({"--fail", QStringLiteral("delay:route=%1,nth=5,ms=600000").arg(route)});
    }
    // Until the server holds it.
    void waitUntilHeld(const QString& route) const {
        while (cloud_.server().requests(route) < 5 && !HasFatalFailure())
            continue;
    }

    const ISOFixture iso_;
    const QString france_ = atlas::importedUUID("Country", "FR");
};
