"""The prose of docs/performance.md that does not depend on the figures of a run."""

BEFORE = """# Performance

After this page you know how fast the helper is beside what an engineer would use in its place, why it is slower where it is
slower, and how to measure it again.

    tools/bench --page

This command builds the helper and its peers, runs all of them in one go on one processor, and writes this page and its
picture anew from `bench/results.json`, which has every round of every row. It takes about four minutes on a quiet machine.
No figure here is written by hand. The peers are the distribution's packages.

Everything for Windows runs under Wine. Times in seconds say something about this one machine only. What carries to another
one is a ratio: the rows of a table take turns, each round of a row is divided by the same round of its peer, and the page
shows the median of these ratios with their quartiles, as in "0.90 (0.89 to 0.91)"."""

METHOD = {
    "reply": """`nexlet.exe` reads a request of type 5 with an empty text, answers it in JSON, and waits for the caller's gate before
it writes. The peers are programs that read as many bytes and send as many back, and understand nothing: one with Boost.Asio
and one with libuv, each written as the library's documentation shows it, with one thread for all connections; and one with
the system's overlapped calls alone, with a thread for each connection as the helper has. The caller is the same code for
all of them. With 16 and 64 connections each of them always has a request under way.""",
    "services": """One helper with so many services, and one request under way at a time, of each service in its turn. The same with raw
overlapped calls shows what the system itself adds with so many pipes and threads, which the helper cannot change. Private
memory is nearly all stacks: Wine counts a thread's whole stack as private, Windows only what was used of it.""",
    "start": """From the call that starts the process to the first word on the caller's pipe: the helper's ready notice. The peer is a
program that makes a message-only window, opens the pipe, and writes eight bytes. The channel is a
JSON object on the command line that says who the caller is; the helper needs none to be ready.""",
    "idle": """The helper with one service, beside a program that waits with a window of the same kind and as many threads, and beside
that program with the calls of the helper's two watchdogs. Processor time is counted in whole ticks of 10 ms.""",
    "envelope": """Natively, with the same compiler. OpenSSL's operation is the bare one, without padding, with the context made beforehand.
`RsaPublicBlock` is the same operation in the helper's code; `RsaEncryptToString` also seeds, pads, and writes base64.""",
    "signer": """The helper's check reads the name in a file's certificate table and verifies nothing ([signer-check](signer-check.md)),
so its floor is to open the file and read that table. OpenSSL parses the same table and names the same signer. As a whole
program the check is compared with osslsigncode, which also hashes the file and builds the chain.""",
    "icon": """Six sizes, from 16 to 256 pixels, from one picture. The time in which a program starts is taken off on both sides.""",
    "beacons": """Requests to a server on this machine. The peer is a loop that opens a session, a connection and a request for each one,
sends it, and reads the answer; it is the same work as the helper's worker has, without a queue.""",
    "status": """The helper looks for several programs by their names, while a hundred others run. The floor is one pass over the list of
processes.""",
}

WHY = {
    "reply": """**Request to reply, one connection.** An echo sends bytes back from the thread that read them. The helper reads JSON, finds
the service and the handler, writes JSON, and asks the gate, and its thread takes a packet from a port for
what was read.""",
    "rate": """**Requests a second, many connections.** Each service has a port and a thread of its own, because a request of one service
may wait for a closed product without the others noticing it. With many requests under way the processor therefore changes
threads for each request. libuv and Asio serve all connections on one thread and do not. The raw overlapped calls, which
have a thread for each connection too, show how much of the distance that is.

Nine tenths of the processor's time are Wine's: its server, the kernel's part of the calls to the server, and the libraries
that make them (counted with perf). So the number of these calls decides. Counted with 16 connections, for one request on the
answering side: Asio 8.1, libuv 9.4, raw calls 10.2, the helper 11. The helper's are two to write, one to post the next read,
six until its packet is in hand, and two to close and open the caller's gate. An echo has no gate. The six are one for a port
that is found empty, three waits, one for the bytes, and one for the packet; the one thread of Asio mostly finds the next
packet ready, and needs five, one of them for the packet of its write. The helper's own code takes 2 % of the time, and
ntdll.dll with its memory and locks 4 %.""",
    "p99": """**p99.** It is about 1.6 times the median with one connection, 1.2 with 16 and 1.1 with 64, for the peers much the same. So
the helper has no slow requests of its own: its p99 is above Asio's because its median is, and the cause is the same.""",
    "start": """**Start.** Before its notice the helper loads the same system libraries as the peer, and its main thread makes 3 % more
calls to the kernel (counted with strace). Most of the rest are its threads. Wine clears 960 KiB of the stack of each thread
that starts, which are 245 page faults; the peer has 1079 in all and no second thread. Four threads have to run before the
notice: the two watchdogs, since nothing may wait for somebody else before they run; the worker of the caller's pipe, which
writes the notice; and the worker of the helper's own pipe, on which a caller may rely from the notice on. The others wait
until it was sent.""",
    "envelope": """**The envelope.** OpenSSL multiplies with hand-written assembly for each kind of processor. The helper's code is portable
C++, where gcc does not keep two carries apart. Assembly of our own would be faster and is not worth its risk: a block takes
some microseconds, and a request has few of them.""",
    "signer": """**Signer check.** Opening the file is most of the time. What is left beside it is the walk through the table.""",
    "icon": """**Icon.** The PNG is decoded by the system's library, here Wine's, once for all six sizes: with a picture of 2048 pixels that
is two thirds of the time. The six scalings are a fifth: for each of them the library copies the whole decoded picture,
16 MiB of new memory. Compressing the six results is a tenth, and reading the file the rest.""",
    "services": """**Many services.** The helper finds a service by its id in a tree; what grows more than that is in the caches of the
processor, since each service has two threads with stacks of their own.""",
}

DONE = """## What was done to get there, and what was not

- A request is parsed once and its reply is written once. Values are moved, not copied; a test counts the texts that are
  read and written for each type of request.
- Comments in JSON are not collected. With them a text of half a megabyte could take twelve seconds.
- Reads and writes that succeed at once take no packet from the completion port: one wait less for each request.
- The gate is closed by one call, which says whether it was open. It was a wait and a reset. In the same run as the state
  before: 4.7 % more requests a second with 1, 16 and 64 connections alike.
- The frame cutter copies each byte once, whatever the size of the reads.
- A block of the envelope uses Montgomery's reduction with digits of 64 bits, prepared at compile time, and a squaring of
  its own. Seeding takes the cheap clock of the system.
- Base64 and the escapes of URLs go by table and size their result once.
- An icon's picture is read in one call and decoded once for all six sizes.
- The signer check reads the header once, and computes SHA-1 only when its result is asked for.
- Libraries that the ready notice does not need are loaded later: GDI+, WinINet, OLE and others. Threads that it does not need
  run later: the watch over the caller's pipe, the configuration, the beacons.
- The sections of the program begin at a page of its file, so that Wine maps them instead of copying them.
- A log call that is off costs a load and a branch.

Not done:

- One thread for several services. It would save changes of threads with many connections, and one caller could then hold
  up another one.
- Writing a reply before posting the next read. It gains 1 %. A reply that has arrived then no longer says that the next read
  is pending, and a stop between the two leaves the worker waiting until its port is closed, a second later.
- Giving the processor away before the next read is posted, so that it finds the next request there. With one connection it
  gains nothing, with 64 it loses 5 %.
- Several packets by one call (`GetQueuedCompletionStatusEx`). A port has one connection, which has one read under way, and
  writes that succeed at once give no packet: there is rarely a second one. Not tried.
- Larger reads. A read is 1024 bytes, which callers can see in how frames arrive.
- Assembly for the envelope.
- A decoder of our own for pictures. Scaling the smaller sizes of an icon from a larger one: each is to look as the picture
  scaled to that size does."""

CLOSING = """## Measure it again

    tools/bench --page               everything on this page, and the page
    tools/bench helper               one benchmark, with its own table
    tools/bench --rounds 3           all benchmarks, briefly, to see whether they work
    bench/make_page.py --check       whether page and picture are what bench/results.json gives; tools/test asks it too

What other programs do at the same time adds to the times of both sides, and not equally. On a busy machine look at the
quartiles first: where they are far apart, the median says little."""
