// Quorvel.dll for C#: every export under its own name, every record and every constant. What a function does, needs and
// gives back is said in quorvel.h; here is only what a caller in C# has to know besides.
//
// Handles and objects are SafeHandles: they are released once, by Dispose or the finalizer, and cannot be mixed up. Dispose
// searches and matrices, then items, folders and stores, then the session. The platform wants all of it on one thread: leave
// nothing to the finalizer, which runs on another.
//
// Buffers that the library hands out are MapiBuffers. They are freed by the module that they came from, which
// MapiBuffer.Bind(session) finds once after Quorvel_Logon.
//
// Wide texts are strings. 8-bit ones (paths, identifiers) are strings too, in the system's code page. Texts that belong to
// the library are IntPtr: read them with Marshal.PtrToStringAnsi or PtrToStringUni before the call that ends their life.

using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;

namespace QuorvelBinding
{
    public enum ECompareMethod : uint
    {
        cmExact = 0,
        cmTimeWithin10Min = 1,
        cmTimeWithinDay = 2,
        cmApntAlldaylikeSubject = 3,
        cmLast7Digits = 4,
        cmDayAndMonth = 5,
        cmApntAlldaylikeStart = 6,
        cmRecipients = 7,
        cmApntApproxStart = 8
    }

    public enum EOriginalKind : uint
    {
        okMostFilled = 0,
        okCallerOrder = 1,
        okLargestValues = 2,
        okCallerOrder2 = 3,
        okLargestItem = 4,
        okFieldValue = 5,
        okApntRecurrence = 6,
        okHasCrmId = 7
    }

    public enum ESearchAlgorithm : uint
    {
        saSimilar = 0,
        saIdentical = 1
    }

    public enum ESearchException : uint
    {
        cleApntSubject = 1,
        cleContCompanyContact = 2,
        cleContFirstLastOnDiffSides = 3,
        cleContFirstLast = 4,
        cleTaskSubjectEmptyOnOneSide = 5,
        cleTaskStartAndDueOnDiffSides = 6,
        cleMailSubjectEmptyOnOneSide = 7,
        cleJrnlSubjectEmptyOnOneSide = 8,
        cleJrnlSubjectEmptyOnBothSides = 9
    }

    public enum ESearchChange : uint
    {
        scNewGroup = 1,
        scGoneGroup = 2,
        scJoined = 3,
        scLeft = 4
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct TComparyProp
    {
        [MarshalAs(UnmanagedType.LPWStr)] public string lpszKey;
        [MarshalAs(UnmanagedType.LPWStr)] public string lpszName;
        public uint nReserved;
        public uint ulPropTag;
        [MarshalAs(UnmanagedType.LPStr)] public string lpszGuid;
        public int nID;
        [MarshalAs(UnmanagedType.LPWStr)] public string lpszID;
        public uint nType;
        public uint nInterface;
        public uint bCompare;
        public uint nCompareMethod;
        public int nGroup;
    }

    // A class, so that null can be passed. Made and freed by PropertyList.
    [StructLayout(LayoutKind.Sequential)]
    public class TComparyProps
    {
        public int n;
        public IntPtr lpProps;
    }

    // lpszValue: Marshal.StringToHGlobalUni for PT_UNICODE, StringToHGlobalAnsi for PT_STRING8.
    [StructLayout(LayoutKind.Sequential)]
    public class TOriginalDefinition
    {
        public uint nKind;
        public uint nField;
        public uint nFieldType;
        [MarshalAs(UnmanagedType.ByValArray, SizeConst = 36)] public byte[] reserved = new byte[36];
        public IntPtr lpszValue;
    }

    // The platform's VARIANT, as far as Quorvel_GetIMessage looks at it: vt is 13 (an interface pointer).
    [StructLayout(LayoutKind.Sequential)]
    public struct TVariant
    {
        public ushort vt;
        public ushort wReserved1;
        public ushort wReserved2;
        public ushort wReserved3;
        public IntPtr value;
        public IntPtr record;
    }

    // Definitions in the form that the library takes. Create functions copy them: dispose of it as soon as they return.
    public sealed class PropertyList : IDisposable
    {
        private readonly int m_nSize = Marshal.SizeOf(typeof(TComparyProp));
        public readonly TComparyProps Props = new TComparyProps();

        public PropertyList(IList<TComparyProp> properties)
        {
            Props.lpProps = Marshal.AllocHGlobal(Math.Max(1, properties.Count) * m_nSize);
            for (; Props.n < properties.Count; ++Props.n)
                Marshal.StructureToPtr(properties[Props.n], Entry(Props.n), false);
        }

        // An entry as Quorvel_ResolveTags leaves it.
        public TComparyProp this[int index]
        {
            get { return (TComparyProp)Marshal.PtrToStructure(Entry(index), typeof(TComparyProp)); }
        }

        public void Dispose()
        {
            while (Props.n > 0) Marshal.DestroyStructure(Entry(--Props.n), typeof(TComparyProp));
            Marshal.FreeHGlobal(Props.lpProps);
            Props.lpProps = IntPtr.Zero;
        }

        private IntPtr Entry(int index)
        {
            return new IntPtr(Props.lpProps.ToInt64() + (long)index * m_nSize);
        }
    }

    public abstract class QuorvelHandle : SafeHandle
    {
        protected QuorvelHandle() : base(IntPtr.Zero, true) { }
        public override bool IsInvalid { get { return handle == IntPtr.Zero; } }
    }

    public sealed class SearchHandle : QuorvelHandle
    {
        protected override bool ReleaseHandle() { Quorvel.Search_Delete(handle); return true; }
    }

    public sealed class SimilarSearchHandle : QuorvelHandle
    {
        protected override bool ReleaseHandle() { Quorvel.SimilarSearch_Delete(handle); return true; }
    }

    public sealed class CmpMatrixHandle : QuorvelHandle
    {
        protected override bool ReleaseHandle() { Quorvel.CmpMatrix_Delete(handle); return true; }
    }

    public sealed class FciHandle : QuorvelHandle
    {
        protected override bool ReleaseHandle() { Quorvel.FCI_Delete(handle); return true; }
    }

    public sealed class SessionHandle : QuorvelHandle
    {
        protected override bool ReleaseHandle() { return Quorvel.Quorvel_Logoff(handle) == 0; }
    }

    // Any object with properties: an item, a folder, a store or an attachment.
    public abstract class PropObjectHandle : QuorvelHandle { }

    public sealed class StoreHandle : PropObjectHandle
    {
        protected override bool ReleaseHandle() { Quorvel.Quorvel_CloseStore(handle); return true; }
    }

    public sealed class FolderHandle : PropObjectHandle
    {
        protected override bool ReleaseHandle() { Quorvel.Quorvel_CloseFolder(handle); return true; }
    }

    public sealed class ItemHandle : PropObjectHandle
    {
        protected override bool ReleaseHandle() { Quorvel.Quorvel_CloseItem(handle); return true; }
    }

    public sealed class AttachHandle : PropObjectHandle
    {
        protected override bool ReleaseHandle() { Marshal.Release(handle); return true; }
    }

    // What the library or the platform handed out.
    public sealed class MapiBuffer : QuorvelHandle
    {
        [UnmanagedFunctionPointer(CallingConvention.Winapi)]
        public delegate uint FreeFunction(IntPtr buffer);

        private static FreeFunction s_free;

        // Once, after Quorvel_Logon and before anything else is asked for: finds MAPIFreeBuffer of the session's module.
        public static void Bind(SessionHandle session)
        {
            const uint fromAddress = 4, unchangedCount = 2;
            IntPtr module;
            IntPtr methods = Marshal.ReadIntPtr(session.DangerousGetHandle());
            if (!GetModuleHandleExW(fromAddress | unchangedCount, methods, out module))
                throw new InvalidOperationException("The session belongs to no module.");
            IntPtr function = GetProcAddress(module, "MAPIFreeBuffer");
            if (function == IntPtr.Zero)
                throw new InvalidOperationException("The session's module has no MAPIFreeBuffer.");
            Bind((FreeFunction)Marshal.GetDelegateForFunctionPointer(function, typeof(FreeFunction)));
        }

        // The same with a function that the caller has found.
        public static void Bind(FreeFunction free) { s_free = free; }

        // For what the platform's own interfaces handed out.
        public static void Free(IntPtr buffer)
        {
            if (s_free == null) throw new InvalidOperationException("MapiBuffer.Bind was not called.");
            if (buffer != IntPtr.Zero) s_free(buffer);
        }

        public string Text { get { return Marshal.PtrToStringAnsi(handle); } }

        // A finalizer must not throw: a buffer that nobody can free stays.
        protected override bool ReleaseHandle() { return s_free != null && s_free(handle) == 0; }

        [DllImport("kernel32", CharSet = CharSet.Unicode, SetLastError = true)]
        private static extern bool GetModuleHandleExW(uint flags, IntPtr address, out IntPtr module);
        [DllImport("kernel32", CharSet = CharSet.Ansi, ExactSpelling = true, BestFitMapping = false)]
        private static extern IntPtr GetProcAddress(IntPtr module, string name);
    }

    public static class Quorvel
    {
        private const string Dll = "Quorvel";

        // Interface level and log
        [DllImport(Dll)] public static extern int Quorvel_GetCompatibleCode();
        [DllImport(Dll)]
        public static extern void Quorvel_ConfigLog(
            [MarshalAs(UnmanagedType.LPStr)] string errPath, [MarshalAs(UnmanagedType.LPStr)] string logPath,
            int debugOutput, int verbosity);
        [DllImport(Dll)]
        public static extern void Quorvel_ConfigLogEx(
            [MarshalAs(UnmanagedType.LPStr)] string errPath, [MarshalAs(UnmanagedType.LPStr)] string logPath,
            int debugOutput, int verbosity, int extra);
        [DllImport(Dll)] public static extern IntPtr Quorvel_GetFilenameLog();
        [DllImport(Dll)] public static extern IntPtr Quorvel_GetFilenameErr();
        // Sessions, stores, items
        [DllImport(Dll)]
        public static extern int Quorvel_Logon(
            out SessionHandle session, int newSession, int showLogonUi);
        [DllImport(Dll)] public static extern int Quorvel_Logoff(IntPtr session);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenStore(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string storeId, out StoreHandle opened);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenStoreFolder(
            StoreHandle msgStore, [MarshalAs(UnmanagedType.LPStr)] string folderId, out FolderHandle opened);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenStoreItem(
            StoreHandle msgStore, [MarshalAs(UnmanagedType.LPStr)] string entryId, out ItemHandle opened);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenFolderItem(
            FolderHandle folder, [MarshalAs(UnmanagedType.LPStr)] string entryId, out ItemHandle opened);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenItem(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string entryId,
            [MarshalAs(UnmanagedType.LPStr)] string storeId, out ItemHandle opened);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenItemEx(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string entryId,
            [MarshalAs(UnmanagedType.LPStr)] string storeId, int flags, out ItemHandle opened);
        // With query 0 *opened is the very pointer, without a reference of its own; else Marshal.Release it.
        [DllImport(Dll)] public static extern int Quorvel_GetIMessage(TVariant obj, out IntPtr opened, int query);
        [DllImport(Dll)] public static extern int Quorvel_GetIMessageNet(IntPtr obj, out IntPtr opened, int query);
        [DllImport(Dll)] public static extern void Quorvel_CloseItem(IntPtr item);
        [DllImport(Dll)] public static extern void Quorvel_CloseFolder(IntPtr folder);
        [DllImport(Dll)] public static extern void Quorvel_CloseStore(IntPtr msgStore);
        [DllImport(Dll)] public static extern int Quorvel_SaveItem(ItemHandle item, uint flags);
        [DllImport(Dll)] public static extern MapiBuffer Quorvel_EntryID2Str(ItemHandle item);
        [DllImport(Dll)]
        public static extern int Quorvel_GetServiceProps(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string serviceUid, out MapiBuffer dllName,
            out MapiBuffer entryName, out MapiBuffer serviceName, out MapiBuffer displayName);
        [DllImport(Dll)]
        public static extern int Quorvel_GetStoreType(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string storeId, out int type);
        [DllImport(Dll)]
        public static extern int Quorvel_IsStoreLocal(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string storeId, ref int local);
        // Reading property values
        [DllImport(Dll)]
        public static extern int Quorvel_GetPropValue(
            PropObjectHandle obj, int tag, out MapiBuffer value);
        // Tags, here and below: their number, then the tags.
        [DllImport(Dll)]
        public static extern int Quorvel_GetPropValues(
            PropObjectHandle obj, uint[] tags, out uint count, out MapiBuffer values);
        [DllImport(Dll)]
        public static extern int Quorvel_GetPropValuesInOneMValue(
            ItemHandle item, uint[] tags, out MapiBuffer value);
        [DllImport(Dll)]
        public static extern int Quorvel_GetStreamPropValue(
            PropObjectHandle obj, int tag, out MapiBuffer buffer, out uint count, int addTerminator);
        [DllImport(Dll)] public static extern int Quorvel_StreamPropSize(PropObjectHandle obj, uint tag, out uint size);
        [DllImport(Dll)]
        public static extern int Quorvel_StreamPropEmpty(
            ItemHandle item, uint tag, out int empty, out uint size);
        [DllImport(Dll)]
        public static extern int Quorvel_GetSubjectSize(
            ItemHandle item, int wide, out uint size, IntPtr values, uint count);
        [DllImport(Dll)]
        public static extern uint Quorvel_GetSubjectBodyAttachmentsSize(
            ItemHandle item, int wide, IntPtr values, uint count);
        // Named properties
        [DllImport(Dll)] public static extern int Quorvel_GetIDFromName(ItemHandle item, IntPtr name, out uint tag);
        [DllImport(Dll)]
        public static extern uint Quorvel_GetIDFromName2(
            ItemHandle item, [MarshalAs(UnmanagedType.LPStr)] string guid, int id, uint type);
        [DllImport(Dll)]
        public static extern int Quorvel_GetIDsFromNames(
            ItemHandle item, uint count, IntPtr name, out MapiBuffer tags);
        [DllImport(Dll)] public static extern int Quorvel_ResolveTags(ItemHandle item, TComparyProps props);
        // Attachments and item operations
        [DllImport(Dll)]
        public static extern int Quorvel_GetAttachments(
            ItemHandle item, out MapiBuffer numbers, out uint count);
        [DllImport(Dll)] public static extern int Quorvel_GetAttachmentsSize(ItemHandle item, out uint total);
        [DllImport(Dll)]
        public static extern int Quorvel_OpenAttachment(
            ItemHandle item, int number, out AttachHandle opened);
        [DllImport(Dll)]
        public static extern int Quorvel_CopyAttachment(
            ItemHandle target, out uint newNumber, ItemHandle source, int number, int saveTarget);
        [DllImport(Dll)] public static extern int Quorvel_DeleteAttachment(ItemHandle item, int number, int save);
        [DllImport(Dll)]
        public static extern int Quorvel_SetPhotoAttachment(
            ItemHandle contact, out uint newNumber, ItemHandle source, int number, int save);
        [DllImport(Dll)] public static extern int Quorvel_ClearHasPhotoFlag(ItemHandle contact, int save);
        // Two bytes a byte of an identifier and one more, filled with 8-bit text.
        [DllImport(Dll)]
        public static extern int Quorvel_FindItem(
            FolderHandle folder, IntPtr searchKey, [In, Out] byte[] entryId);
        [DllImport(Dll)]
        public static extern int Quorvel_ItemMove(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string entryId,
            [MarshalAs(UnmanagedType.LPStr)] string srcFolderId, [MarshalAs(UnmanagedType.LPStr)] string srcStoreId,
            [MarshalAs(UnmanagedType.LPStr)] string dstFolderId, [MarshalAs(UnmanagedType.LPStr)] string dstStoreId,
            [In, Out] byte[] newEntryId);
        // Comparing property values
        // Values are addresses of the platform's SPropValue.
        [DllImport(Dll)]
        public static extern int Quorvel_ComparePropValues(
            IntPtr pv1, IntPtr pv2, out int pnResult, ECompareMethod method);
        [DllImport(Dll)] public static extern int Quorvel_IsEmptyValue(IntPtr pv, out int pbEmpty, out uint pnSize);
        [DllImport(Dll)]
        public static extern int Quorvel_IsMVPropsIntersects(
            IntPtr pv1, IntPtr pv2, out int pbIntersects, ECompareMethod method);
        [DllImport(Dll)]
        public static extern int Quorvel_CompareStreamProp(
            ItemHandle msg1, ItemHandle msg2, uint ulPropTag, out int pnResult,
            [MarshalAs(UnmanagedType.U1)] out bool pbCompared);
        [DllImport(Dll)]
        public static extern void Quorvel_CountProps2(
            IntPtr values, uint count, out int pnFilled, [In, Out] uint[] sizes);
        [DllImport(Dll)]
        public static extern int Quorvel_CountProps(
            ItemHandle item, uint[] tags, out int pnFilled, [In, Out] uint[] sizes);
        [DllImport(Dll)]
        public static extern int Quorvel_CountStreamProps(
            ItemHandle msg, uint[] tags, out int pnFilled, [In, Out] uint[] sizes);
        // Calendar normalisations
        [DllImport(Dll)]
        public static extern int Appointment_AllDayEventLike(
            ItemHandle item, out int allDayLike, int askAllDayFlag);
        [DllImport(Dll)]
        public static extern int Appointment_AllDayEventLikeEx(
            ItemHandle item, out int allDayLike, int askAllDayFlag, out int allDayFlag);
        [DllImport(Dll)]
        public static extern int Normalize_BirthdayOrAnnvrsrySubject(
            [MarshalAs(UnmanagedType.LPStr)] StringBuilder subject, int testOnly);
        [DllImport(Dll)]
        public static extern int Normalize_BirthdayOrAnnvrsrySubjectW(
            [MarshalAs(UnmanagedType.LPWStr)] StringBuilder subject, int testOnly);
        // Duplicate search
        [DllImport(Dll)]
        public static extern SearchHandle Search_Create(
            SessionHandle session, TComparyProps props, TOriginalDefinition original, uint algorithm, int grouped);
        [DllImport(Dll)]
        public static extern SearchHandle Search_Create2(
            SessionHandle session, TComparyProps props, TOriginalDefinition original, uint algorithm, int grouped,
            uint[] exceptions, uint exceptionCount);
        [DllImport(Dll)] public static extern void Search_Delete(IntPtr handle);
        [DllImport(Dll)]
        public static extern int Search_Add(
            SearchHandle handle, [MarshalAs(UnmanagedType.LPStr)] string entryId,
            [MarshalAs(UnmanagedType.LPStr)] string storeId, out uint found, uint callerRank);
        [DllImport(Dll)] public static extern int Search_Build(SearchHandle handle);
        [DllImport(Dll)] public static extern int Search_GetOriginalCount(SearchHandle handle);
        // Ask with null and size 0 first; the texts are 8-bit and end in a zero.
        [DllImport(Dll)]
        public static extern void Search_GetOriginal(
            SearchHandle handle, int group, [In, Out] byte[] entryId, ref uint entryIdSize, [In, Out] byte[] storeId,
            ref uint storeIdSize);
        [DllImport(Dll)] public static extern int Search_GetDuplicateCount(SearchHandle handle, int group);
        [DllImport(Dll)]
        public static extern void Search_GetDuplicate(
            SearchHandle handle, int group, int duplicate, [In, Out] byte[] entryId, ref uint entryIdSize,
            [In, Out] byte[] storeId, ref uint storeIdSize);
        [DllImport(Dll)]
        public static extern int Search_GetBuildChange(
            SearchHandle handle, int index, out uint kind, out IntPtr originalId, out IntPtr originalStoreId,
            out IntPtr duplicateId, out IntPtr duplicateStoreId, out int position);
        // Similar-contact search
        [DllImport(Dll)]
        public static extern SimilarSearchHandle SimilarSearch_Create(
            SessionHandle session, [MarshalAs(UnmanagedType.LPStr)] string storeEntryId, uint countMode);
        [DllImport(Dll)] public static extern void SimilarSearch_Delete(IntPtr search);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_SetSearchByItem(
            SimilarSearchHandle search, ItemHandle contact, out uint filledCount);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_AddToCache(
            SimilarSearchHandle search, ItemHandle contact);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_CheckItem(
            SimilarSearchHandle search, ItemHandle contact, out uint verdict, out uint filledCount,
            out IntPtr verdictText, out IntPtr matchedFields);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_CheckItemW(
            SimilarSearchHandle search, ItemHandle contact, out uint verdict, out uint filledCount,
            out IntPtr verdictText, out IntPtr matchedFields);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_CheckItemFast(
            SimilarSearchHandle search, [MarshalAs(UnmanagedType.LPStr)] string entryId, out uint verdict,
            out uint filledCount, out IntPtr verdictText, out IntPtr matchedFields);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_CheckItemFastW(
            SimilarSearchHandle search, [MarshalAs(UnmanagedType.LPStr)] string entryId, out uint verdict,
            out uint filledCount, out IntPtr verdictText, out IntPtr matchedFields);
        [DllImport(Dll)]
        public static extern uint SimilarSearch_RemoveFromCache(
            SimilarSearchHandle search, [MarshalAs(UnmanagedType.LPStr)] string entryId, int force);
        [DllImport(Dll)] public static extern void SimilarSearch_LogSearchByPos(SimilarSearchHandle search);
        // Comparison matrix
        [DllImport(Dll)]
        public static extern CmpMatrixHandle CmpMatrix_Create(
            SessionHandle session, TComparyProps props);
        [DllImport(Dll)]
        public static extern CmpMatrixHandle CmpMatrix_CreateEx(
            SessionHandle session, TComparyProps props, uint option);
        [DllImport(Dll)] public static extern void CmpMatrix_Delete(IntPtr handle);
        [DllImport(Dll)]
        public static extern int CmpMatrix_Add(
            CmpMatrixHandle handle, [MarshalAs(UnmanagedType.LPStr)] string entryId,
            [MarshalAs(UnmanagedType.LPStr)] string storeId);
        [DllImport(Dll)]
        public static extern uint CmpMatrix_Size(
            CmpMatrixHandle handle, out uint rows, out uint columns);
        [DllImport(Dll)] public static extern uint CmpMatrix_Value(CmpMatrixHandle handle, int row, int column);
        [DllImport(Dll)] public static extern uint CmpMatrix_ValueSize(CmpMatrixHandle handle, int row, int column);
        [DllImport(Dll)] public static extern int CmpMatrix_BuildAttachMatrix(CmpMatrixHandle handle);
        [DllImport(Dll)] public static extern int CmpMatrix_AttachCount(CmpMatrixHandle handle);
        [DllImport(Dll)] public static extern int CmpMatrix_AttachEqualCount(CmpMatrixHandle handle);
        [DllImport(Dll)]
        public static extern int CmpMatrix_AttachInfo(
            CmpMatrixHandle handle, int column, out IntPtr name, out uint size);
        [DllImport(Dll)]
        public static extern int CmpMatrix_AttachInfoW(
            CmpMatrixHandle handle, int column, out IntPtr name, out uint size);
        [DllImport(Dll)] public static extern int CmpMatrix_AttachValue(CmpMatrixHandle handle, int row, int column);
        [DllImport(Dll)] public static extern int CmpMatrix_PhotoAttachCount(CmpMatrixHandle handle);
        [DllImport(Dll)] public static extern int CmpMatrix_PhotoAttachEqualCount(CmpMatrixHandle handle);
        [DllImport(Dll)]
        public static extern int CmpMatrix_PhotoAttachInfo(
            CmpMatrixHandle handle, int column, out IntPtr name, out uint size);
        [DllImport(Dll)]
        public static extern int CmpMatrix_PhotoAttachInfoW(
            CmpMatrixHandle handle, int column, out IntPtr name, out uint size);
        [DllImport(Dll)]
        public static extern int CmpMatrix_PhotoAttachValue(
            CmpMatrixHandle handle, int row, int column);
        // Cabinet writer
        [DllImport(Dll)]
        public static extern FciHandle FCI_Create(
            [MarshalAs(UnmanagedType.LPStr)] string directory, [MarshalAs(UnmanagedType.LPStr)] string name);
        [DllImport(Dll)]
        public static extern int FCI_AddFile(
            FciHandle handle, [MarshalAs(UnmanagedType.LPStr)] string source,
            [MarshalAs(UnmanagedType.LPStr)] string storedName);
        [DllImport(Dll)] public static extern int FCI_FlushCabinet(FciHandle handle);
        [DllImport(Dll)] public static extern void FCI_Delete(IntPtr handle);

        // Both identifiers of a group's copy to keep (duplicate -1) or of one of its duplicates; false when there is none.
        public static bool GetGroupItem(SearchHandle search, int group, int duplicate, out string entryId, out string storeId)
        {
            uint entryIdSize = 0, storeIdSize = 0;
            CopyGroupItem(search, group, duplicate, null, ref entryIdSize, null, ref storeIdSize);
            byte[] entry = new byte[entryIdSize], store = new byte[storeIdSize];
            entryId = storeId = null;
            if (entryIdSize == 0 || storeIdSize == 0) return false;
            CopyGroupItem(search, group, duplicate, entry, ref entryIdSize, store, ref storeIdSize);
            entryId = Encoding.ASCII.GetString(entry, 0, entry.Length - 1);
            storeId = Encoding.ASCII.GetString(store, 0, store.Length - 1);
            return true;
        }

        private static void CopyGroupItem(SearchHandle search, int group, int duplicate, byte[] entry, ref uint entrySize,
                                          byte[] store, ref uint storeSize)
        {
            if (duplicate < 0)
                Search_GetOriginal(search, group, entry, ref entrySize, store, ref storeSize);
            else
                Search_GetDuplicate(search, group, duplicate, entry, ref entrySize, store, ref storeSize);
        }
    }
}
