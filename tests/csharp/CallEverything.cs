// Calls every function of the binding with values that follow from its name and the position of the argument, prints what
// was reached and what differs, and prints the layouts of the binding's records. The native side is made of the header.

using System;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Text;
using QuorvelBinding;

static class CallEverything
{
    [DllImport("Quorvel")] static extern IntPtr StandIn_Last();
    [DllImport("Quorvel")] static extern IntPtr StandIn_Faults();

    static void Fault(string what) { Console.WriteLine("FAULT " + what); }

    static void Expect(bool holds, string what)
    {
        if (!holds) Fault(what);
    }

    static uint Pattern(string name, object position)
    {
        uint value = 2166136261;
        foreach (byte one in Encoding.ASCII.GetBytes(name + "." + position)) value = unchecked((value ^ one) * 16777619);
        return value | 0x80000000;
    }

    static IntPtr Address(uint value) { return new IntPtr((long)value); }

    static QuorvelHandle Handle(Type type, uint value)
    {
        if (type.IsAbstract) type = typeof(ItemHandle);
        object handle = Activator.CreateInstance(type, true);
        typeof(SafeHandle).GetMethod("SetHandle", BindingFlags.NonPublic | BindingFlags.Instance)
            .Invoke(handle, new object[] { Address(value) });
        return (QuorvelHandle)handle;
    }

    static TComparyProps List()
    {
        TComparyProp property = new TComparyProp {
            lpszKey = "key \u00e9", lpszName = "name \u20ac", nReserved = 1, ulPropTag = 2, lpszGuid = "guid", nID = -3,
            lpszID = "id", nType = 4, nInterface = 5, bCompare = 6, nCompareMethod = 7, nGroup = -8 };
        return new PropertyList(new[] { property }).Props;
    }

    static TOriginalDefinition Definition()
    {
        TOriginalDefinition definition = new TOriginalDefinition {
            nKind = 1, nField = 2, nFieldType = 3, lpszValue = new IntPtr(5) };
        definition.reserved[35] = 4;
        return definition;
    }

    static object Argument(ParameterInfo parameter, string text, uint value)
    {
        Type type = parameter.ParameterType;
        if (type.IsByRef) type = type.GetElementType();
        if (parameter.IsOut && !parameter.IsIn) return type.IsValueType ? Activator.CreateInstance(type) : null;
        if (parameter.ParameterType.IsByRef) value ^= 1;
        if (typeof(QuorvelHandle).IsAssignableFrom(type)) return Handle(type, value);
        if (type == typeof(int)) return unchecked((int)value);
        if (type == typeof(uint)) return value;
        if (type.IsEnum) return Enum.ToObject(type, value);
        if (type == typeof(IntPtr)) return Address(value);
        if (type == typeof(string)) return text;
        if (type == typeof(StringBuilder)) return new StringBuilder(text, 100);
        if (type == typeof(byte[])) return Encoding.ASCII.GetBytes(text + "\0");
        if (type == typeof(uint[])) return IsTags(parameter) ? new uint[] { 1, value } : new uint[] { value };
        if (type == typeof(TComparyProps)) return List();
        if (type == typeof(TOriginalDefinition)) return Definition();
        if (type == typeof(TVariant)) return new TVariant { vt = 13, value = Address(value) };
        throw new NotSupportedException(text + " is of type " + type);
    }

    static bool IsTags(ParameterInfo parameter) { return parameter.Name == "tags"; }

    static void CheckGiven(string what, object given, uint value)
    {
        if (given is QuorvelHandle)
        {
            Expect(((QuorvelHandle)given).DangerousGetHandle() == Address(value), what + " is another handle");
            ((QuorvelHandle)given).SetHandleAsInvalid();
        }
        else if (given is IntPtr) Expect((IntPtr)given == Address(value), what + " is another address");
        else if (given is bool) Expect((bool)given, what + " is false");
        else if (given is int || given is uint)
            Expect(given is int ? (int)given == unchecked((int)value) : (uint)given == value, what + " is " + given);
        else Fault(what + " is of type " + (given == null ? "null" : given.GetType().ToString()));
    }

    static void CheckArgument(ParameterInfo parameter, string what, object argument, uint value)
    {
        Type type = parameter.ParameterType;
        if (type == typeof(bool).MakeByRefType())
        {
            object[] marshal = parameter.GetCustomAttributes(typeof(MarshalAsAttribute), false);
            Expect(marshal.Length == 1 && ((MarshalAsAttribute)marshal[0]).Value == UnmanagedType.U1, what + " is not one byte");
        }
        if (type.IsByRef) CheckGiven(what, argument, value);
        else if (type == typeof(StringBuilder)) Expect(argument.ToString() == "back", what + " did not come back");
        else if (type == typeof(byte[]))
            Expect(Encoding.ASCII.GetString((byte[])argument, 0, 5) == "back\0", what + " did not come back");
        else if (type == typeof(uint[])) Expect(((uint[])argument).Last() == value, what + " did not come back");
        else if (argument is QuorvelHandle) ((QuorvelHandle)argument).SetHandleAsInvalid();
    }

    static void Call(MethodInfo method)
    {
        string name = method.Name;
        ParameterInfo[] parameters = method.GetParameters();
        object[] arguments = parameters.Select((p, i) => Argument(p, name + "." + i, Pattern(name, i))).ToArray();
        object result = method.Invoke(null, arguments);
        if (Marshal.PtrToStringAnsi(StandIn_Last()) == name) Console.WriteLine("call " + name);
        for (int i = 0; i < arguments.Length; ++i)
            CheckArgument(parameters[i], name + "." + i, arguments[i], Pattern(name, i));
        if (method.ReturnType != typeof(void)) CheckGiven(name + ".result", result, Pattern(name, "result"));
    }

    // What a handle is released with. The stand-in checks that it is this handle.
    static void CheckReleases()
    {
        foreach (var row in new[] {
            new { type = typeof(SearchHandle), name = "Search_Delete" },
            new { type = typeof(SimilarSearchHandle), name = "SimilarSearch_Delete" },
            new { type = typeof(CmpMatrixHandle), name = "CmpMatrix_Delete" },
            new { type = typeof(FciHandle), name = "FCI_Delete" },
            new { type = typeof(SessionHandle), name = "Quorvel_Logoff" },
            new { type = typeof(StoreHandle), name = "Quorvel_CloseStore" },
            new { type = typeof(FolderHandle), name = "Quorvel_CloseFolder" },
            new { type = typeof(ItemHandle), name = "Quorvel_CloseItem" } })
        {
            Handle(row.type, Pattern(row.name, 0)).Dispose();
            string called = Marshal.PtrToStringAnsi(StandIn_Last());
            Expect(called == row.name, row.type.Name + " is released with " + called);
        }
        IntPtr freed = IntPtr.Zero;
        MapiBuffer.Bind(buffer => { freed = buffer; return 0; });
        Handle(typeof(MapiBuffer), 77).Dispose();
        Expect(freed == Address(77), "MapiBuffer is not freed with the function that was bound");
    }

    static void PrintLayouts()
    {
        foreach (Type type in typeof(Quorvel).Assembly.GetTypes().Where(one => one.Namespace == "QuorvelBinding"))
        {
            if (type.IsEnum)
            {
                Console.WriteLine("layout {0} {1}", type.Name, Marshal.SizeOf(Enum.GetUnderlyingType(type)));
                foreach (object value in Enum.GetValues(type)) Console.WriteLine("layout {0} {1:D}", value, value);
            }
            else if (type.IsLayoutSequential && type.Name[0] == 'T')
            {
                Console.WriteLine("layout {0} {1}", type.Name, Marshal.SizeOf(type));
                foreach (FieldInfo field in type.GetFields().Where(one => type != typeof(TVariant) || one.Name == "vt"))
                    Console.WriteLine("layout {0}.{1} {2}", type.Name, field.Name, Marshal.OffsetOf(type, field.Name));
            }
        }
    }

    static void Main()
    {
        PrintLayouts();
        foreach (MethodInfo method in typeof(Quorvel).GetMethods(BindingFlags.Public | BindingFlags.Static))
            if ((method.Attributes & MethodAttributes.PinvokeImpl) != 0) Call(method);
        CheckReleases();
        string faults = Marshal.PtrToStringAnsi(StandIn_Faults());
        if (faults != "") Fault("arguments that arrived otherwise:\n" + faults);
    }
}
