#pragma once

#include "SimulatedDisk.h"

// Makes every database whose path lies below "/simulated/NAME" a file of the disk with that name, for as long as
// this object exists; all must be closed before it goes. Other databases stay where they are.
//
// One connection at a time may use a database: nobody is locked out, and a second one ends the program.
class SimulatedVFS {
public:
    SimulatedVFS();
    ~SimulatedVFS();
    SimulatedVFS(const SimulatedVFS&) = delete;
    SimulatedVFS& operator=(const SimulatedVFS&) = delete;

    static void addDisk(const std::string& name, SimulatedDisk& disk);
    static void removeDisk(const std::string& name);
};
