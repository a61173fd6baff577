#pragma once

#include "platform/files/Descriptor.h"
#include "storage/KRDataStorage.h"
#include "storage/memory/DataMessage.h"

#include <mutex>
#include <optional>
#include <string>

// Variables in memory, which go to another process or come from one as one message over a stream socket.
//
// A server object: registerWithSocket(), setUpCommunicationSocket() on a thread of its own, then sending and
// receiving. A client object: connectToSocket() or connectToMachine(), then the same. Either ends with
// terminateConnection(), which any thread may call while another one waits for a connection or for bytes.
//
// Arrays are shared with the caller, not copied, in both directions: a caller who wrote one leaves it alone.
// Writing a name again replaces its value. Any thread.
//
// Locks: accessToContent_, held by whatever uses the connection, before lockDuringAccept_ or the storage's
// own lock, which guards the variables; stateLock_ is taken last, and never while anything waits.
class KRDataInMemory : public KRDataStorage {
public:
    ~KRDataInMemory() override;

    bool contains(const std::optional<std::string>& name) override;
    bool isAString(const std::string& name) override;
    bool isAFloatArray(const std::string& name) override;
    bool isADoubleArray(const std::string& name) override;
    bool isAnIntArray(const std::string& name) override;
    bool isANumber(const std::string& name) override; // An array of one element.
    std::vector<std::string> variablesWithPrefix(const std::string& prefix) override;
    std::optional<std::string> resolveNameAllowingRedirection(const std::string& name) override;
    std::optional<Size> getSizeOfVariable(const std::string& name) override; // Of a text its bytes, in m.
    std::optional<StorageNumber> readNumber(const std::string& name) override;
    // Without conversion: an array of another type is reported, and gives none.
    KRAnyArray readArrayOfType(ElementType type, const std::string& name) override;
    KRAnyArray readNativeArray(const std::string& name) override;
    std::optional<Bytes> readDataBlock(const std::string& name) override;
    std::optional<std::string> readRawString(const std::string& name) override;
    bool writeString(const std::string& text, const std::string& withName) override;
    bool writeDataBlock(const Bytes& bytes, const std::string& withName) override; // As unsigned bytes.
    void removeAllData();

    // The client's side. Only one connection at a time.
    bool connectToSocket(const std::string& path);
    // The port is one from 2000 to 65535. See storage::MagicCookie for the cookie.
    bool connectToMachine(const std::string& machine, int port, const std::string& magicCookie);
    // The server's side. The socket file is removed when the connection ends.
    bool registerWithSocket(const std::string& path);
    bool setUpCommunicationSocket(); // Waits for a client.

    // All variables as one message. False when the peer has gone, without a connection, and for variables
    // that no message can carry, which is reported.
    bool sendDataThroughSocket();
    // Adds the variables of one message; those before a failure stay.
    bool recieveDataFromSocket();
    // Waits until the peer of a Unix socket closes the connection, and closes it here.
    void waitForTermination();
    // Ends all waiting on the connection and closes it. Takes about a second while another thread waits for a
    // client.
    void terminateConnection();

    bool isConnected() const { return communicationSocket() != 0; }
    int communicationSocket() const; // 0 without one. It stays this object's.
    std::string nameOfSocket() const;
    bool waitingForInitialConnection() const;
    // Whether a message was ever torn behind its start. It stays set.
    bool failedDuringSend() const;

    // All bytes through a socket of the caller's, however many calls of the system that takes. Sending tells
    // whether all went out; reading how many came before the peer went.
    static bool sendPointer(const void* bytes, std::size_t length, int socket);
    static std::size_t readIntoPointer(void* into, std::size_t length, int socket);

protected:
    bool writeTypedArray(const KRAnyArray& array, const std::string& withName) override;

private:
    const storage::MemoryValue* find(const std::string& name) const; // Inside the storage's lock.
    const KRAnyArray* findArray(const std::string& name) const;
    bool isOfType(ElementType type, const std::string& name);
    bool store(storage::MemoryValue value, const std::string& name);

    bool fitsIntoAMessage(); // Reports when not.
    void shutDownCommunication();
    static void wakeAccept(const std::string& path, int port);
    void closeSockets(const std::string& path);

    storage::MemoryContent theContent_;

    std::mutex accessToContent_;
    std::mutex lockDuringAccept_;
    mutable std::mutex stateLock_; // Guards all below.
    platform::Descriptor serverSocket_;
    platform::Descriptor communicationSocket_;
    bool createdTheSocket_ = false;
    std::string nameOfSocket_;
    int portNumber_ = 0; // 0 without a TCP connection.
    bool waitingForAccept_ = false;
    bool cancelAfterAccept_ = false; // A connection that arrives now is only a wake-up.
    bool failedDuringSend_ = false;
};
