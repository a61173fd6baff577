#include "ssh/sftp/SFtpManyFiles.h"

#include "ssh/sftp/DownloadTarget.h"
#include "ssh/sftp/SFtpPipeline.h"

#include <algorithm>

namespace ssh::sftpmany {

namespace {

using Reply = SFtpSession::Reply;

constexpr const char* kNoAnswer = "The server hasn't answered.";

Bytes handleRequest(ByteView handle)
{
    return WireWriter().string(handle).take();
}

// The content of a small upload. A local file that has grown meanwhile is a failure.
Result<Bytes> contentOf(const CkoUpload& file)
{
    if (!file.localPath)
        return Bytes(file.data.begin(), file.data.end());
    auto local = platform::File::open(*file.localPath, platform::File::Mode::Read);
    if (!local.ok())
        return localFailure(local.error());
    const auto text = local->readAll(kSmallFile);
    if (!text.ok())
        return localFailure(text.error());
    return Bytes(text->begin(), text->end());
}

// One small file on its way there: it is opened, written, closed, and its permissions are set, in two round
// trips. Its outcome is good only when the server has answered all of that.
class Upload {
public:
    Upload(SFtpPipeline& pipeline, std::size_t piece, const CkoUpload& file, CkoTransfer& outcome)
        : pipeline_(pipeline), session_(pipeline.session()), piece_(piece), file_(file), outcome_(outcome)
    { }

    static Status begin(const std::shared_ptr<Upload>& self)
    {
        auto content = contentOf(self->file_);
        if (!content.ok()) {
            self->outcome_.error = content.error().text;
            return {};
        }
        self->content_ = std::move(*content);
        self->outcome_.error = kNoAnswer;
        if (self->file_.isMadeAnew)
            if (Status asked = self->pipeline_.ask(self->piece_, sftp::kRemove,
                    self->session_.pathRequest(self->file_.remotePath),
                    [](const Reply&) { return Status(); }); // There may be none.
                !asked.ok())
                return asked;
        return self->pipeline_.ask(self->piece_, sftp::kOpen,
            self->session_.openRequest(
                self->file_.remotePath, SFtpAccess::Write, SFtpDisposition::CreateTruncate),
            [self](const Reply& reply) { return opened(self, reply); });
    }

private:
    static Status opened(const std::shared_ptr<Upload>& self, const Reply& reply)
    {
        const auto handle = self->session_.handleOf(reply);
        self->outcome_.opened = handle.ok();
        if (!handle.ok()) {
            self->outcome_.error = handle.error().text;
            return {};
        }
        const std::size_t chunk = self->session_.settings().uploadChunk;
        const ByteView content = self->content_;
        for (std::size_t at = 0; at < content.size(); at += chunk) {
            const ByteView part = content.subspan(at, std::min(chunk, content.size() - at));
            WireWriter head;
            head.string(*handle).uint64(at).uint32(static_cast<std::uint32_t>(part.size()));
            if (Status asked = self->pipeline_.ask(
                    self->piece_, sftp::kWrite, head,
                    [self](const Reply& answer) { return self->take(answer); }, part);
                !asked.ok())
                return asked;
        }
        Status asked = self->pipeline_.ask(
            self->piece_, sftp::kClose, handleRequest(*handle), [self](const Reply& answer) {
                const Status status = self->take(answer);
                if (!self->file_.permissions)
                    self->end();
                return status;
            });
        return asked.ok() && self->file_.permissions ? setPermissions(self) : asked;
    }

    static Status setPermissions(const std::shared_ptr<Upload>& self)
    {
        SFtpFileAttr attr;
        attr.permissions = static_cast<std::uint32_t>(*self->file_.permissions);
        const std::string name = self->session_.nameToServer(self->file_.remotePath);
        return self->pipeline_.ask(self->piece_, sftp::kSetstat,
            self->session_.setAttributesRequest(viewOf(name), attr), [self](const Reply&) {
                self->end();
                return Status();
            });
    }

    Status take(const Reply& reply)
    {
        if (const Status status = session_.statusOf(reply); !status.ok() && error_.empty())
            error_ = status.error().text;
        return {};
    }

    void end() { outcome_.error = std::move(error_); }

    SFtpPipeline& pipeline_;
    SFtpSession& session_;
    const std::size_t piece_;
    const CkoUpload& file_;
    CkoTransfer& outcome_;
    Bytes content_;
    std::string error_; // The first one.
};

// One small file on its way here: its attributes and its first bytes are asked for together.
class Download {
public:
    Download(SFtpPipeline& pipeline, std::size_t piece, const CkoDownload& file, CkoTransfer& outcome)
        : pipeline_(pipeline), session_(pipeline.session()), piece_(piece), file_(file), outcome_(outcome)
    { }

    static Status begin(const std::shared_ptr<Download>& self)
    {
        auto target = DownloadTarget::create(self->file_.localPath,
            self->file_.resuming ? DownloadTarget::Mode::Resume : DownloadTarget::Mode::Replace);
        if (!target.ok()) {
            self->outcome_.error = target.error().text;
            return {};
        }
        self->target_ = std::move(*target);
        self->position_ = self->target_->resumedAt();
        self->outcome_.error = kNoAnswer;
        return self->pipeline_.ask(self->piece_, sftp::kOpen,
            self->session_.openRequest(
                self->file_.remotePath, SFtpAccess::Read, SFtpDisposition::OpenExisting),
            [self](const Reply& reply) { return opened(self, reply); });
    }

private:
    static Status opened(const std::shared_ptr<Download>& self, const Reply& reply)
    {
        auto handle = self->session_.handleOf(reply);
        self->outcome_.opened = handle.ok();
        if (!handle.ok()) {
            self->outcome_.error = handle.error().text;
            return {};
        }
        self->handle_ = std::move(*handle);
        if (Status asked = self->pipeline_.ask(self->piece_, sftp::kFstat,
                self->session_.attributesRequest(self->handle_),
                [self](const Reply& answer) { return takeAttributes(self, answer); });
            !asked.ok())
            return asked;
        return readOn(self);
    }

    static Status readOn(const std::shared_ptr<Download>& self)
    {
        WireWriter body;
        body.string(self->handle_).uint64(self->position_).uint32(self->session_.limits().readChunk);
        return self->pipeline_.ask(
            self->piece_, sftp::kRead, body, [self](const Reply& reply) { return takeData(self, reply); });
    }

    static Status takeAttributes(const std::shared_ptr<Download>& self, const Reply& reply)
    {
        const auto attr = self->session_.attributesOf(reply);
        self->attr_ = attr.ok() ? *attr : SFtpFileAttr();
        if (!self->held_)
            return {};
        const Bytes data = std::move(*self->held_);
        self->held_.reset();
        return put(self, data);
    }

    static Status takeData(const std::shared_ptr<Download>& self, const Reply& reply)
    {
        if (self->session_.isEndOfFile(reply)) {
            self->isAtEnd_ = true;
        } else if (reply.type != sftp::kData) {
            const Status status = self->session_.statusOf(reply);
            self->fail(status.ok() ? SFtpSession::malformed() : status.error());
            return {};
        }
        WireReader reader(reply.body);
        const ByteView data = self->isAtEnd_ ? ByteView() : reader.string();
        if (!reader.ok() || data.size() > self->session_.limits().readChunk
            || (data.empty() && !self->isAtEnd_)) {
            self->fail(SFtpSession::malformed());
            return {};
        }
        if (!self->attr_) { // The permissions come first.
            self->held_ = copyOf(data);
            return {};
        }
        return put(self, data);
    }

    static Status put(const std::shared_ptr<Download>& self, ByteView data)
    {
        if (!data.empty())
            if (const Status written = self->target_->write(data, *self->attr_); !written.ok()) {
                self->fail(written.error());
                return {};
            }
        self->position_ += data.size();
        // What a file grows by while it is read comes the next time.
        const bool isWhole =
            self->attr_->size && *self->attr_->size > 0 && self->position_ >= *self->attr_->size;
        if (!self->isAtEnd_ && !isWhole)
            return readOn(self);
        const Status finished = self->target_->finish(*self->attr_);
        self->outcome_.error = finished.ok() ? "" : finished.error().text;
        self->session_.closeHandleWithoutWaiting(self->handle_);
        return {};
    }

    void fail(const Error& error)
    {
        outcome_.error = error.text;
        (void)target_->close();
        session_.closeHandleWithoutWaiting(handle_);
    }

    SFtpPipeline& pipeline_;
    SFtpSession& session_;
    const std::size_t piece_;
    const CkoDownload& file_;
    CkoTransfer& outcome_;
    std::optional<DownloadTarget> target_;
    Bytes handle_;
    std::uint64_t position_ = 0;
    std::optional<SFtpFileAttr> attr_; // Once the server has answered.
    std::optional<Bytes> held_; // Data that has come before the attributes.
    bool isAtEnd_ = false;
};

Status readFolder(SFtpPipeline& pipeline, std::size_t piece, const Bytes& handle,
    const std::shared_ptr<SFtpListingReader>& reader, std::shared_ptr<const std::vector<SFtpEntry>>& listing)
{
    return pipeline.ask(piece, sftp::kReaddir, handleRequest(handle),
        [&pipeline, piece, handle, reader, &listing](const Reply& reply) -> Status {
            const auto ended = reader->take(reply);
            if (ended.ok() && !*ended)
                return readFolder(pipeline, piece, handle, reader, listing);
            pipeline.session().closeHandleWithoutWaiting(handle);
            if (ended.ok())
                listing = std::make_shared<const std::vector<SFtpEntry>>(std::move(reader->entries));
            return {};
        });
}

} // namespace

Status makeDirectories(SFtpSession& session, std::span<const std::string> paths, std::vector<bool>& exist)
{
    exist.assign(paths.size(), false);
    SFtpPipeline pipeline(session);
    return pipeline.run(paths.size(), [&](std::size_t i) {
        const std::string name = session.nameToServer(paths[i]);
        Status asked = pipeline.ask(
            i, sftp::kLstat, session.attributesRequest(viewOf(name)), [&, i](const Reply& reply) {
                exist[i] = exist[i] || reply.type == sftp::kAttrs;
                return Status();
            });
        return asked.ok() ? pipeline.ask(i, sftp::kMkdir, session.makeDirectoryRequest(paths[i]),
                   [&, i](const Reply& reply) {
                       exist[i] = exist[i] || session.statusOf(reply).ok();
                       return Status();
                   })
                          : asked;
    });
}

Status list(SFtpSession& session, std::span<const std::string> paths, bool includeDotDirs,
    std::vector<std::shared_ptr<const std::vector<SFtpEntry>>>& listings)
{
    listings.assign(paths.size(), nullptr);
    SFtpPipeline pipeline(session);
    return pipeline.run(paths.size(), [&](std::size_t i) {
        return pipeline.ask(
            i, sftp::kOpendir, session.pathRequest(paths[i]), [&, i](const Reply& reply) -> Status {
                const auto handle = session.handleOf(reply);
                if (!handle.ok())
                    return {};
                return readFolder(pipeline, i, *handle,
                    std::make_shared<SFtpListingReader>(session, includeDotDirs), listings[i]);
            });
    });
}

Status sizes(SFtpSession& session, std::span<const std::string> paths, std::vector<std::int64_t>& sizes)
{
    sizes.assign(paths.size(), -1);
    SFtpPipeline pipeline(session);
    return pipeline.run(paths.size(), [&](std::size_t i) {
        return pipeline.ask(i, sftp::kOpen,
            session.openRequest(paths[i], SFtpAccess::Read, SFtpDisposition::OpenExisting),
            [&, i](const Reply& reply) -> Status {
                const auto handle = session.handleOf(reply);
                if (!handle.ok())
                    return {};
                return pipeline.ask(i, sftp::kFstat, session.attributesRequest(*handle),
                    [&, i, handle = *handle](const Reply& answer) {
                        const auto attr = session.attributesOf(answer);
                        if (attr.ok() && attr->size && *attr->size <= INT64_MAX)
                            sizes[i] = static_cast<std::int64_t>(*attr->size);
                        session.closeHandleWithoutWaiting(handle);
                        return Status();
                    });
            });
    });
}

Status upload(SFtpSession& session, std::span<const CkoUpload* const> files,
    std::span<CkoTransfer* const> outcomes, const std::function<void(std::size_t)>& ended)
{
    SFtpPipeline pipeline(session);
    return pipeline.run(
        files.size(),
        [&](std::size_t i) {
            return Upload::begin(std::make_shared<Upload>(pipeline, i, *files[i], *outcomes[i]));
        },
        ended);
}

Status download(
    SFtpSession& session, std::span<const CkoDownload* const> files, std::span<CkoTransfer* const> outcomes)
{
    SFtpPipeline pipeline(session);
    return pipeline.run(files.size(), [&](std::size_t i) {
        return Download::begin(std::make_shared<Download>(pipeline, i, *files[i], *outcomes[i]));
    });
}

} // namespace ssh::sftpmany
