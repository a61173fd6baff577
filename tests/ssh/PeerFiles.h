#pragma once

#include "ssh/Peer.h"
#include "ssh/crypto/Wire.h"
#include "ssh/sftp/SFtpSession.h"

namespace peer {

using namespace ssh;

// The files that a peer's SFTP subsystem shows, in one of the versions 3 to 6 of the protocol.
class FileServer {
public:
    FileServer(const Options& options, Seen& seen) : options_(options), seen_(seen), files_(options.files) { }

    // Takes what came over the channel; adds the replies, each with its length in front.
    void receive(ByteView data, std::vector<Bytes>& replies)
    {
        append(waiting_, data);
        while (waiting_.size() >= 4 && waiting_.size() - 4 >= loadUint32(waiting_.data())) {
            const std::size_t length = loadUint32(waiting_.data());
            replies.push_back(WireWriter().string(answer(ByteView(waiting_).subspan(4, length))).take());
            waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(4 + length));
        }
    }

private:
    static constexpr std::uint32_t kNoSuchFile = 2;
    static constexpr std::uint32_t kFailure = 4;

    static WireWriter reply(std::uint8_t type, std::uint32_t id)
    {
        return std::move(WireWriter(type).uint32(id));
    }

    Bytes status(std::uint32_t id, std::uint32_t code) const
    {
        return reply(sftp::kStatus, id).uint32(code).string("told by the peer").string("en").take();
    }

    SFtpFileAttr attr(const std::string& path) const
    {
        SFtpFileAttr attr;
        const bool isFile = files_.contains(path);
        attr.type = isFile ? SFtpFileAttr::Type::Regular : SFtpFileAttr::Type::Directory;
        attr.size = isFile && path != "made-up" ? files_.at(path).size() : 0; // As of a file in /proc.
        attr.permissions = isFile ? 0100640 : 040755;
        attr.modifyTime = 1234567890;
        return attr;
    }

    Bytes attributes(const std::string& path, std::uint32_t id)
    {
        if (!files_.contains(path) && !files_.contains(path + "/"))
            return status(id, kNoSuchFile);
        WireWriter writer = reply(sftp::kAttrs, id);
        attr(path).write(writer, options_.sftpVersion);
        return writer.take();
    }

    Bytes open(WireReader& reader, std::uint32_t id)
    {
        const std::string path = reader.text();
        const int version = options_.sftpVersion;
        const std::uint32_t access = reader.uint32();
        const std::uint32_t flags = version >= 5 ? reader.uint32() : access;
        // Versions 3 and 4: create is 8, truncate 16. From 5 on the lowest three bits tell: 1 creates or
        // truncates, 2 opens what is there.
        const bool creates = version >= 5 ? (flags & 7) == 1 || (flags & 7) == 3 : (flags & 8) != 0;
        const bool truncates = version >= 5 ? (flags & 7) == 1 : (flags & 16) != 0;
        // Reading or writing, from version 5 on each with its attributes.
        const std::string known = version >= 5 ? " 129 258 387 " : " 1 2 10 11 26 ";
        if (known.find(" " + std::to_string(access) + " ") == std::string::npos
            || !SFtpFileAttr::read(reader, version) || !reader.okAndEmpty())
            return status(id, kFailure);
        const bool isFolder = files_.contains(path + "/"); // Can be opened, and not read.
        const bool hasParent = !path.starts_with("none/");
        if (!files_.contains(path) && !(creates && hasParent) && !isFolder)
            return status(id, kNoSuchFile);
        if (truncates || (!files_.contains(path) && !isFolder))
            files_[path].clear();
        return reply(sftp::kHandle, id).string(path).take();
    }

    Bytes read(WireReader& reader, std::uint32_t id)
    {
        const std::string path = reader.text();
        if (!files_.contains(path))
            return status(id, kFailure);
        const std::string& file = files_[path];
        const std::uint64_t offset = reader.uint64();
        const std::uint32_t length = std::min(reader.uint32(), options_.mostRead);
        if (offset >= file.size())
            return status(id, sftp::kEof);
        WireWriter writer = reply(sftp::kData, id);
        writer.string(std::string_view(file).substr(offset, length));
        if (options_.sftpVersion >= 6)
            writer.boolean(offset + length >= file.size());
        return writer.take();
    }

    Bytes write(WireReader& reader, std::uint32_t id)
    {
        std::string& file = files_[reader.text()];
        const std::uint64_t offset = reader.uint64();
        const std::string data = reader.text();
        seen_.mostWritten = std::max(seen_.mostWritten, data.size());
        file.resize(std::max<std::size_t>(file.size(), offset + data.size()));
        file.replace(offset, data.size(), data);
        seen_.files = files_;
        return status(id, sftp::kOk);
    }

    // With all the forms of a path that isn't a bare name.
    Bytes names(const std::string& path, std::uint32_t id)
    {
        std::vector<std::string> names = {".", "..", "../escape", "a/b"};
        for (const auto& [name, content] : files_)
            if (name.starts_with(path) && name != path)
                names.push_back(name.substr(path.size()));
        if (listed_[path])
            return status(id, sftp::kEof);
        listed_[path] = true;
        WireWriter writer = reply(sftp::kName, id);
        writer.uint32(static_cast<std::uint32_t>(names.size()));
        for (const std::string& name : names) {
            writer.string(name);
            if (options_.sftpVersion <= 3)
                writer.string("-rw-r----- what a person reads");
            attr(path + name).write(writer, options_.sftpVersion);
        }
        if (options_.sftpVersion >= 6)
            writer.boolean(false);
        return writer.take();
    }

    Bytes answer(ByteView request)
    {
        WireReader reader(request);
        const std::uint8_t type = reader.byte();
        const std::uint32_t id = reader.uint32();
        switch (type) {
        case sftp::kInit: {
            WireWriter version(sftp::kVersion);
            version.uint32(std::min(static_cast<std::uint32_t>(options_.sftpVersion), id));
            return version.string("filename-charset").string("ISO-8859-1").take();
        }
        case sftp::kOpen:
            return open(reader, id);
        case sftp::kRead:
            return read(reader, id);
        case sftp::kWrite:
            return write(reader, id);
        case sftp::kStat:
        case sftp::kLstat:
        case sftp::kFstat:
            ++seen_.examined;
            return attributes(reader.text(), id);
        case sftp::kSetstat: {
            reader.string();
            const auto attr = SFtpFileAttr::read(reader, options_.sftpVersion);
            seen_.permissions = attr ? attr->permissions.value_or(0) : 0;
            return status(id, reader.okAndEmpty() ? sftp::kOk : kFailure);
        }
        case sftp::kOpendir: {
            const std::string path = reader.text() + "/";
            return files_.contains(path) ? reply(sftp::kHandle, id).string(path).take()
                                         : status(id, kNoSuchFile);
        }
        case sftp::kReaddir:
            return names(reader.text(), id);
        case sftp::kMkdir: {
            const std::string path = reader.text() + "/";
            const bool good = SFtpFileAttr::read(reader, options_.sftpVersion) && !files_.contains(path);
            files_[path] = "";
            return status(id, good ? sftp::kOk : kFailure);
        }
        case sftp::kRemove:
            return status(id, files_.erase(reader.text()) > 0 ? sftp::kOk : kNoSuchFile);
        default:
            return status(id, sftp::kOk);
        }
    }

    const Options& options_;
    Seen& seen_;
    std::map<std::string, std::string> files_;
    std::map<std::string, bool> listed_;
    Bytes waiting_;
};

} // namespace peer
