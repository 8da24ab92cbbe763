#include "QTMovieAtomCompaction.h"

#include <cstring>
#include <vector>

#include "QTBigEndian.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"

namespace QT
{

namespace
{

bool IsCompactedContainer(uint32_t inType)
{
    return inType == kTrakAtom || inType == kMdiaAtom || inType == kMinfAtom || inType == kStblAtom;
}

class Compaction
{
public:
    Compaction(uint8_t* ioWork, uint32_t inSize, LoadRoute inRoute)
        : mWork(ioWork), mSize(inSize), mRoute(inRoute)
    {
    }

    uint32_t Run(uint32_t& outRemoved)
    {
        uint32_t status = kQTSuccess;
        if (mSize > 8)
            status = Pass();
        ShortenContainers();
        outRemoved = mRemoved;
        return status;
    }

private:
    enum class Step
    {
        Continue,
        End,
        Fail,
    };

    uint32_t Pass()
    {
        for (;;)
        {
            // Fewer than 8 bytes cannot hold a header; reading one would leave the block.
            if (mSize - mReadPos < 8)
                return kQTSuccess;
            const uint32_t size = BE::U32(mWork + mReadPos);
            const uint32_t type = BE::U32(mWork + mReadPos + 4);
            const Step step = Visit(size, type);
            if (step == Step::Fail)
                return kQTStatusReadFailed;
            if (step == Step::End || mReadPos >= mSize)
                return kQTSuccess;
        }
    }

    Step Visit(uint32_t inSize, uint32_t inType)
    {
        if (mRoute == LoadRoute::File && (inSize < 8 || inSize > mSize - mReadPos))
            return Step::End;
        // The provider's bytes get no size check of their own, but a zero size would never move on.
        if (mRoute == LoadRoute::Provider && inSize == 0)
            return Step::Fail;
        if (inType == kTrakAtom)
        {
            ShortenContainers();
            mTrakEnd = inSize + mReadPos;
        }
        if (IsCompactedContainer(inType))
            return EnterContainer();
        if (inType == kFreeAtom)
            return DropFree(inSize);
        return MoveAtom(inSize);
    }

    Step EnterContainer()
    {
        mContainers.push_back({mWritePos, mDroppedInTrak});
        if (mReadPos != mWritePos)
            std::memmove(mWork + mWritePos, mWork + mReadPos, 8);
        mReadPos += 8;
        mWritePos += 8;
        return Step::Continue;
    }

    // Every container since the latest trak is shortened, closed ones included.
    Step DropFree(uint32_t inSize)
    {
        // Skipping past the block would leave the pass reading outside it.
        if (inSize > mSize - mReadPos)
            return Step::Fail;
        if (mReadPos < mTrakEnd)
            mDroppedInTrak += inSize;
        mRemoved += inSize;
        mReadPos += inSize;
        return Step::Continue;
    }

    Step MoveAtom(uint32_t inSize)
    {
        if (inSize > mSize - mReadPos)
        {
            // Nothing to move and nothing behind it inside the block: stepping over it would end
            // the pass just so, without the position wrapping.
            if (mReadPos == mWritePos)
                return Step::End;
            return Abandon();
        }
        if (mReadPos != mWritePos)
            std::memmove(mWork + mWritePos, mWork + mReadPos, inSize);
        mReadPos += inSize;
        mWritePos += inSize;
        return Step::Continue;
    }

    // Each container takes off what was dropped since it was entered. Done once, when its trak's
    // list closes, rather than at every free atom: a trak of many containers and many free atoms
    // would otherwise cost their product. The size words lie behind the write position, where the
    // pass never reads again, and subtraction wraps alike in one step or in many.
    void ShortenContainers()
    {
        for (const Container& container : mContainers)
            BE::PutU32(mWork + container.offset,
                       BE::U32(mWork + container.offset) - (mDroppedInTrak - container.droppedBefore));
        mContainers.clear();
    }

    // An atom that runs past the block: whatever lies from here on is cut off.
    Step Abandon()
    {
        mRemoved += mSize - mReadPos;
        return Step::End;
    }

    uint8_t* mWork;
    uint32_t mSize;
    LoadRoute mRoute;
    uint32_t mReadPos = 8;
    uint32_t mWritePos = 8;
    uint32_t mRemoved = 0;
    uint32_t mTrakEnd = 0;
    // The containers entered since the latest trak, with the bytes of free atoms dropped inside the
    // trak before each was entered.
    struct Container
    {
        uint32_t offset;
        uint32_t droppedBefore;
    };
    std::vector<Container> mContainers;
    uint32_t mDroppedInTrak = 0;
};

} // namespace

uint32_t CompactMovieAtom(uint8_t* ioWork, uint32_t inSize, LoadRoute inRoute, uint32_t& outRemoved)
{
    return Compaction(ioWork, inSize, inRoute).Run(outRemoved);
}

} // namespace QT
