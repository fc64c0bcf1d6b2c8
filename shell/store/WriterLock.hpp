// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvane {

/// The right to write to a store, which one object in all processes has at a time.
///
/// It is a lock of the system on a file of its own, STORE-lock, which says who holds it. Closing any descriptor of the
/// store itself would take away the locks by which the database keeps readers and writers apart. What is locked is a
/// byte far behind the text, so that the text can be read where locks keep from reading, too.
class WriterLock {
public:
    /// Throws StoreHeld when somebody else has it, and Failure when there can be no lock.
    explicit WriterLock(const std::string& store);

    /// Removes the file. What a killed process left is harmless: the lock went with it.
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

private:
    bool tryLock(const std::string& store);
    void sayWho() const;
    std::string holder() const;

    std::string path_;
    int descriptor_ = -1;
};

} // namespace corvane
