#pragma once

/// Values of the platform's message interface that endpoints pass on.
struct IMessageInterface
{
    /// How an endpoint wishes to be called. The type is open: plug-ins pass numbers of their own. On this platform
    /// every endpoint is called on the bus's threads, one call at a time, whatever its type.
    enum ThreadType : int { BusThread = 0 };
};
