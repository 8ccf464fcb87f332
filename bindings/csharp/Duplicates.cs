// Finds the duplicates among the mails of the default store's folder tree, and says which copy to keep: what
// examples/duplicates.c does, in C#.

using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;
using QuorvelBinding;

// The few calls of the platform's own interfaces that the walk needs, by their place in the interface's table.
static class Platform
{
    public const uint EntryId = 0x0FFF0102, DefaultStore = 0x3400000B, Subtree = 0x35E00102, ContainerClass = 0x3613001F;
    public const uint Subject = 0x0037001F, FromAddress = 0x0065001F, SentTime = 0x00390040, DisplayName = 0x3001001F;
    public const uint ParentId = 0x0E090102;
    const int GetMsgStoresTable = 4, GetContentsTable = 14, GetHierarchyTable = 15, SetColumns = 7, QueryRows = 19;
    const int ValueSize = 24, RowSize = 16;

    [UnmanagedFunctionPointer(CallingConvention.StdCall)]
    delegate int OpenTable(IntPtr self, uint flags, out IntPtr table);
    [UnmanagedFunctionPointer(CallingConvention.StdCall)]
    delegate int TakeColumns(IntPtr self, uint[] columns, uint flags);
    [UnmanagedFunctionPointer(CallingConvention.StdCall)]
    delegate int TakeRows(IntPtr self, int count, uint flags, out IntPtr rows);

    static T Method<T>(IntPtr self, int slot) where T : class
    {
        IntPtr method = Marshal.ReadIntPtr(Marshal.ReadIntPtr(self), slot * IntPtr.Size);
        return (T)(object)Marshal.GetDelegateForFunctionPointer(method, typeof(T));
    }

    public static void Check(int result, string what)
    {
        if (result != 0) throw new InvalidOperationException(string.Format("{0}: 0x{1:x}", what, result));
    }

    // A binary value as identifier text; null for a value of another type (a property that is missing).
    public static string IdText(IntPtr value)
    {
        if (value == IntPtr.Zero || (Marshal.ReadInt32(value) & 0xFFFF) != 0x0102) return null;
        byte[] bytes = new byte[Marshal.ReadInt32(value, 8)];
        Marshal.Copy(Marshal.ReadIntPtr(value, 16), bytes, 0, bytes.Length);
        return BitConverter.ToString(bytes).Replace("-", "");
    }

    public static string Text(IntPtr value)
    {
        bool isText = value != IntPtr.Zero && (Marshal.ReadInt32(value) & 0xFFFF) == 0x001F;
        return isText ? Marshal.PtrToStringUni(Marshal.ReadIntPtr(value, 8)) : "";
    }

    public static bool IsTrue(IntPtr value)
    {
        return (Marshal.ReadInt32(value) & 0xFFFF) == 0x000B && Marshal.ReadInt16(value, 8) != 0;
    }

    // The rows of a table: of each, the addresses of its values, good until the next row is asked for.
    static IEnumerable<IntPtr[]> Rows(IntPtr table, params uint[] columns)
    {
        try
        {
            uint[] tags = new uint[columns.Length + 1];
            tags[0] = (uint)columns.Length;
            columns.CopyTo(tags, 1);
            Check(Method<TakeColumns>(table, SetColumns)(table, tags, 0), "SetColumns");
            for (;;)
            {
                IntPtr rows;
                Check(Method<TakeRows>(table, QueryRows)(table, 100, 0, out rows), "QueryRows");
                try
                {
                    int count = Marshal.ReadInt32(rows);
                    if (count == 0) yield break;
                    for (int i = 0; i < count; ++i)
                    {
                        IntPtr values = Marshal.ReadIntPtr(rows, 8 + i * RowSize + 8);
                        IntPtr[] row = new IntPtr[columns.Length];
                        for (int j = 0; j < row.Length; ++j) row[j] = IntPtr.Add(values, j * ValueSize);
                        yield return row;
                    }
                }
                finally
                {
                    for (int i = 0, count = Marshal.ReadInt32(rows); i < count; ++i)
                        MapiBuffer.Free(Marshal.ReadIntPtr(rows, 8 + i * RowSize + 8));
                    MapiBuffer.Free(rows);
                }
            }
        }
        finally { Marshal.Release(table); }
    }

    static IEnumerable<IntPtr[]> Open(QuorvelHandle owner, int slot, uint flags, params uint[] columns)
    {
        IntPtr table, self = owner.DangerousGetHandle();
        Check(Method<OpenTable>(self, slot)(self, flags, out table), "opening a table");
        return Rows(table, columns);
    }

    public static IEnumerable<IntPtr[]> Stores(SessionHandle session)
    {
        return Open(session, GetMsgStoresTable, 0, EntryId, DefaultStore);
    }

    public static IEnumerable<IntPtr[]> FoldersBelow(FolderHandle folder)
    {
        const uint convenientDepth = 1;
        return Open(folder, GetHierarchyTable, convenientDepth, EntryId);
    }

    public static IEnumerable<IntPtr[]> Items(FolderHandle folder)
    {
        return Open(folder, GetContentsTable, 0, EntryId);
    }
}

static class Duplicates
{
    static string Value(PropObjectHandle owner, uint tag, Func<IntPtr, string> read)
    {
        MapiBuffer value;
        int result = Quorvel.Quorvel_GetPropValue(owner, unchecked((int)tag), out value);
        using (value) return result == 0 ? read(value.DangerousGetHandle()) : null;
    }

    static FolderHandle OpenFolder(StoreHandle store, string id)
    {
        FolderHandle folder;
        Platform.Check(Quorvel.Quorvel_OpenStoreFolder(store, id, out folder), "opening a folder");
        return folder;
    }

    static TComparyProp Compared(string key, uint tag)
    {
        return new TComparyProp { lpszKey = key, lpszName = key, ulPropTag = tag, nType = tag & 0xFFFF, bCompare = 1,
                                  nCompareMethod = (uint)ECompareMethod.cmExact };
    }

    static SearchHandle CreateSearch(SessionHandle session)
    {
        // The copy with the most filled properties is kept.
        TOriginalDefinition keep = new TOriginalDefinition { nKind = (uint)EOriginalKind.okMostFilled };
        using (PropertyList list = new PropertyList(new[] {
            Compared("Mail.Subject", Platform.Subject), Compared("Mail.FromAddress", Platform.FromAddress),
            Compared("Mail.SentTime", Platform.SentTime) }))
            return Quorvel.Search_Create(session, list.Props, keep, (uint)ESearchAlgorithm.saIdentical, 0);
    }

    static void AddMails(SearchHandle search, StoreHandle store, string storeId, ref int items, ref int refused)
    {
        using (FolderHandle top = OpenFolder(store, Value(store, Platform.Subtree, Platform.IdText)))
            foreach (IntPtr[] row in Platform.FoldersBelow(top))
                using (FolderHandle folder = OpenFolder(store, Platform.IdText(row[0])))
                {
                    if (Value(folder, Platform.ContainerClass, Platform.Text) != "IPF.Note") continue;
                    foreach (IntPtr[] item in Platform.Items(folder))
                    {
                        uint found;
                        ++items;
                        if (Quorvel.Search_Add(search, Platform.IdText(item[0]), storeId, out found, 0) == 0) ++refused;
                    }
                }
    }

    static string SubjectOf(ItemHandle item)
    {
        string subject = Value(item, Platform.Subject, Platform.Text);
        return string.IsNullOrEmpty(subject) ? "()" : subject;
    }

    static void PrintGroups(SearchHandle search, StoreHandle store)
    {
        int groups = Quorvel.Search_GetOriginalCount(search);
        Console.WriteLine("{0} groups of duplicates", groups);
        for (int i = 0; i < groups; ++i)
            for (int j = -1; j < Quorvel.Search_GetDuplicateCount(search, i); ++j)
            {
                string itemId, storeId;
                ItemHandle item;
                if (!Quorvel.GetGroupItem(search, i, j, out itemId, out storeId)) continue;
                Platform.Check(Quorvel.Quorvel_OpenStoreItem(store, itemId, out item), "opening an item");
                using (item)
                using (FolderHandle folder = OpenFolder(store, Value(item, Platform.ParentId, Platform.IdText)))
                {
                    if (j < 0) Console.WriteLine(SubjectOf(item));
                    string place = Value(folder, Platform.DisplayName, Platform.Text);
                    Console.WriteLine("    {0} in {1}", j < 0 ? "keep     " : "duplicate", place);
                }
            }
    }

    static string DefaultStoreOf(SessionHandle session)
    {
        foreach (IntPtr[] row in Platform.Stores(session))
            if (Platform.IsTrue(row[1])) return Platform.IdText(row[0]);
        throw new InvalidOperationException("There is no default store.");
    }

    static void Main()
    {
        Console.OutputEncoding = Encoding.UTF8;
        Quorvel.Quorvel_ConfigLog(null, "duplicates.log", 0, 1);
        SessionHandle session;
        Platform.Check(Quorvel.Quorvel_Logon(out session, 0, 0), "logging on");
        using (session)
        {
            MapiBuffer.Bind(session);
            string storeId = DefaultStoreOf(session);
            StoreHandle store;
            Platform.Check(Quorvel.Quorvel_OpenStore(session, storeId, out store), "opening the default store");
            using (store)
            using (SearchHandle search = CreateSearch(session))
            {
                int items = 0, refused = 0;
                AddMails(search, store, storeId, ref items, ref refused);
                if (Quorvel.Search_Build(search) == 0) throw new InvalidOperationException("The search failed.");
                Console.WriteLine("{0} mails, {1} without anything to compare", items, refused);
                PrintGroups(search, store);
            }
        }
    }
}
