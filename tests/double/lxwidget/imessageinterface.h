#pragma once

struct IMessageInterface
{
    enum ThreadType : int { AnyThread = 0 };
};
