#pragma once

// The relay's event stream as tests write it: server-sent events in the model's streaming format.

#include "LocalHttpServer.h"

#include <QByteArray>
#include <QList>

namespace relayevents {

// One server-sent event as the relay forwards it: an `event:` line, a `data:` line, a blank line.
inline QByteArray sse(const QByteArray& name, const QByteArray& data, const QByteArray& lineEnd = "\n") {
    return "event: " + name + lineEnd + "data: " + data + lineEnd + lineEnd;
}

inline QByteArray textDelta(int index, const QByteArray& text) {
    return sse("content_block_delta", R"({"type":"content_block_delta","index":)" +
                                          QByteArray::number(index) +
                                          R"(,"delta":{"type":"text_delta","text":")" + text + "\"}}");
}

inline QByteArray blockStart(int index, const QByteArray& block) {
    return sse("content_block_start", R"({"type":"content_block_start","index":)" +
                                          QByteArray::number(index) + R"(,"content_block":)" + block + "}");
}

inline QByteArray blockStop(int index) {
    return sse("content_block_stop",
               R"({"type":"content_block_stop","index":)" + QByteArray::number(index) + "}");
}

inline const QByteArray messageStart =
    sse("message_start", R"({"type":"message_start","message":{"id":"msg_01","type":"message",)"
                         R"("role":"assistant","content":[],"model":"claude","stop_reason":null,)"
                         R"("usage":{"input_tokens":812,"output_tokens":3}}})");
inline const QByteArray ping = sse("ping", R"({"type": "ping"})");
inline const QByteArray messageStop = sse("message_stop", R"({"type":"message_stop"})");

inline QByteArray messageDelta(const QByteArray& stopReason) {
    return sse("message_delta", R"({"type":"message_delta","delta":{"stop_reason":")" + stopReason +
                                    R"(","stop_sequence":null},"usage":{"output_tokens":89}})");
}

// A tool call block at `index`: its start with the id and name, the input JSON in one piece, its stop.
inline QByteArray toolUse(int index, const QByteArray& id, const QByteArray& name,
                          const QByteArray& inputJSON) {
    QByteArray escaped = inputJSON;
    escaped.replace("\\", "\\\\").replace("\"", "\\\"");
    return blockStart(index,
                      R"({"type":"tool_use","id":")" + id + R"(","name":")" + name + R"(","input":{}})") +
           sse("content_block_delta",
               R"({"type":"content_block_delta","index":)" + QByteArray::number(index) +
                   R"(,"delta":{"type":"input_json_delta","partial_json":")" + escaped + "\"}}") +
           blockStop(index);
}

// A stream that says `pieces` in one text block, each piece its own network chunk `delayMs` apart.
inline LocalHttpServer::Response textStream(const QList<QByteArray>& pieces, int delayMs) {
    QList<QByteArray> chunks{messageStart, blockStart(0, R"({"type":"text","text":""})")};
    for (const QByteArray& piece : pieces) {
        chunks.append(textDelta(0, piece));
    }
    chunks.append(blockStop(0) + messageDelta("end_turn") + messageStop);
    return LocalHttpServer::Response::events(chunks, delayMs);
}

} // namespace relayevents
