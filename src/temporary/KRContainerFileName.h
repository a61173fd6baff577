#pragma once

#include "platform/plist/Value.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class KRContainerFileNameDownloadDelegate;

// Is told that the orphan check has ended. The dictionary is empty.
class KRContainerFileNameOrphanCheckDelegate {
public:
    virtual ~KRContainerFileNameOrphanCheckDelegate() = default;
    virtual void callbackFromOrphanCheck(const platform::Value& /*dictionary*/) { } // Main thread.
};

// A file name as a value. The owner of a temporary file gives it back, and so removes it, when the last
// reference goes. Its class operations are the program's temporary files. An object never changes but for its
// size, which one thread at a time may read again; class operations may be called from any thread.
class KRContainerFileName : public KRContainerFileNameOrphanCheckDelegate {
public:
    // Null for an empty name. The path is standardized; the file stays when the object goes.
    static std::shared_ptr<KRContainerFileName> createWithName(const std::string& name);
    // The extensions are those of other files that go with this name.
    static std::shared_ptr<KRContainerFileName> createWithName(
        const std::string& name, std::vector<std::string> checkExtensions);
    // Owns a name that checkOutTemporaryName() gave, with or without an extension behind it.
    static std::shared_ptr<KRContainerFileName> createWithTemporaryFile(const std::string& name);
    static std::shared_ptr<KRContainerFileName> createEmpty(); // Null, since an empty name gives null.
    ~KRContainerFileName() override;
    KRContainerFileName(const KRContainerFileName&) = delete;
    KRContainerFileName& operator=(const KRContainerFileName&) = delete;

    const std::string& fileName() const { return fileName_; }
    std::uint64_t fileSize() const
    {
        return fileSize_;
    } // Bytes, when it was last looked at; 0 without a file.
    void resetFileSize();
    bool isTemporaryFile() const { return temporaryFile_; }
    bool isEmpty() const { return fileName_.empty(); }
    std::string description() const;
    std::uint64_t memoryUsed() const; // The file's size for its owner, else 0.
    std::optional<double> returnParameter(std::string_view name) const; // "File Size" alone.

    // See TemporaryFiles.
    static std::string nameOfGlobalTemporaryDirectory();
    static void initializeTemporary();
    static bool hasBeenInitialized();
    static std::optional<std::string> checkOutTemporaryName();
    static bool stoppedUsingTemporaryFile(const std::optional<std::string>& name);
    static bool stoppedUsingTemporaryFile(
        const std::optional<std::string>& name, const std::vector<std::string>& additionalEndings);
    static std::optional<std::string> checkOutTemporaryFolder();
    static void stoppedUsingTemporaryFolder(const std::optional<std::string>& name);
    static void deleteDirectory(const std::optional<std::string>& path);
    static void removeTemporaryDirectory();
    static void heartBeat(); // Main thread.

    // Walks on a thread over what other instances have on disk, then calls back. The delegate is kept until
    // then.
    static void checkOrphansAndCallMeBack(std::shared_ptr<KRContainerFileNameOrphanCheckDelegate> delegate);
    static std::uint64_t sizeOfDirectory(const std::string& path);
    // Releases the object.
    static void addToTheDestructionQueAndRelease(std::shared_ptr<KRContainerFileName> object);
    // One lock for the process, whatever the path.
    static std::mutex& inputLockForPath(const std::string& path);
    // The delegate is kept until the download has ended. Main thread.
    static void downloadURL(
        const std::string& url, std::shared_ptr<KRContainerFileNameDownloadDelegate> callback);

private:
    KRContainerFileName(std::string name, bool isTemporary, std::vector<std::string> additionalEndings);

    std::string fileName_;
    bool temporaryFile_;
    bool responsibleForRemovingFile_;
    std::uint64_t fileSize_ = 0;
    std::vector<std::string> stackWhenCreated_;
    std::vector<std::string> additionalEndings_;
};
