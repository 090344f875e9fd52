// What answers the requests that come in on a connection.
#pragma once

#include <memory>

class IRequestHandlers;

class IRequestOwner {
  public:
    // Null when there is none, or it is gone. Any thread.
    virtual std::shared_ptr<IRequestHandlers> Owner() const = 0;

  protected:
    ~IRequestOwner() = default;
};
