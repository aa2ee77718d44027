#pragma once

/// Base of classes whose objects can be neither copied nor assigned.
class INonCopyable
{
public:
    INonCopyable(const INonCopyable&) = delete;
    INonCopyable& operator=(const INonCopyable&) = delete;

protected:
    INonCopyable() = default;
    ~INonCopyable() = default;
};
