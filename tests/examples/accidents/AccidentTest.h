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
    const ISOFixture iso_;
    const QString france_ = atlas::importedUUID("Country", "FR");
};
