// What an engineer would take in the helper's place: a program that connects to callers' pipes and answers bytes with
// bytes, written with a library as its own documentation shows it. One loop on one thread serves all connections. And
// the floor, written with the system's calls alone: each connection has a port and a thread of its own.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

class IPipePeer {
  public:
    // Returns when every caller has closed its end.
    virtual ~IPipePeer() = default;

    // Opens a caller's pipe. False when it cannot be opened. Before Start.
    virtual bool Connect(const std::wstring& name) = 0;
    // Serves all connections from now on, on a thread of its own.
    virtual void Start() = 0;
};

// Each answers requestSize bytes with reply, which outlives the peer.
std::unique_ptr<IPipePeer> MakeRawPeer(std::size_t requestSize, const std::string& reply);
std::unique_ptr<IPipePeer> MakeLibuvPeer(std::size_t requestSize, const std::string& reply);
std::unique_ptr<IPipePeer> MakeAsioPeer(std::size_t requestSize, const std::string& reply);
