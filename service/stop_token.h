// Says whether the instance that a piece of work belongs to has been destroyed.
#pragma once

// Read on any thread.
class IStopToken {
  public:
    // Once true, always true. The host destroys an instance with its instance lock and its parameter lock held, so an
    // answer of false read under either lock holds until that lock is released.
    virtual bool StopRequested() const = 0;

  protected:
    ~IStopToken() = default;
};

// Of work that belongs to no instance.
class CNeverStops final : public IStopToken {
  public:
    bool StopRequested() const override { return false; }
};
