#pragma once

/// Constants of the platform's message interface.
struct IMessageInterface
{
    /// The kind of thread on which an endpoint is called. Plug-ins may pass other numbers. This platform ignores the
    /// type and calls every endpoint on the threads of the bus, one call at a time.
    enum ThreadType : int { BusThread = 0 };
};
